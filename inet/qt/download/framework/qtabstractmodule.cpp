// SPDX-License-Identifier: MIT
#include <inet/qt/download/framework/qtabstractmodule.h>

QtAbstractModule::QtAbstractModule(QObject *parent)
    : QObject(parent)
{
}

QtAbstractModule::~QtAbstractModule() = default;
