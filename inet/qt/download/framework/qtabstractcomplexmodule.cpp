// SPDX-License-Identifier: MIT
#include <inet/qt/download/framework/qtabstractcomplexmodule.h>

QtAbstractComplexModule::QtAbstractComplexModule(QObject *parent)
    : QtAbstractModule(parent)
{
}

QtAbstractComplexModule::~QtAbstractComplexModule() = default;

void QtAbstractComplexModule::initialize(bool init)
{
    if (init == m_initialized)
        return;
    onModuleInitializeRunning(true, init);
    initializeSelfBefore(init);
    initializeSelfAfter(init);
    onModuleInitializeRunning(false, init);
}

void QtAbstractComplexModule::initializeSelfBefore(bool) {}

void QtAbstractComplexModule::initializeSelfAfter(bool) {}

void QtAbstractComplexModule::onModuleInitializeRunning(bool isRunning, bool init)
{
    if (!isRunning)
        m_initialized = init;
}
