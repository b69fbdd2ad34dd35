// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/records/exportmacro.h>

#include <QtGlobal>

/// Anything from which modules are to be had.
class DOWNLOADFRAMEWORK_EXPORT AbstractDownloadsModulesProvider
{
    Q_DISABLE_COPY_MOVE(AbstractDownloadsModulesProvider)

public:
    AbstractDownloadsModulesProvider();
    virtual ~AbstractDownloadsModulesProvider();
};
