// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/framework/qtapplogger.h>

/// The logger that everything logs to.
class DOWNLOADFRAMEWORK_EXPORT QtAppDefaultLogger
{
public:
    /// Never null; lives to the end of the process.
    static QtAppLogger *instance();
};
