// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/records/exportmacro.h>

#include <QObject>

/// Anything that a host loads as a unit.
class DOWNLOADFRAMEWORK_EXPORT QtAbstractModule : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(QtAbstractModule)

public:
    explicit QtAbstractModule(QObject *parent = nullptr);
    ~QtAbstractModule() override;
};
