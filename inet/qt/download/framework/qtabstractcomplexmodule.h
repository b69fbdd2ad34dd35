// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/framework/qtabstractmodule.h>

/// A module that may depend on others, which are initialised between its own two steps.
class DOWNLOADFRAMEWORK_EXPORT QtAbstractComplexModule : public QtAbstractModule
{
    Q_OBJECT

public:
    explicit QtAbstractComplexModule(QObject *parent = nullptr);
    ~QtAbstractComplexModule() override;

    /// Begins (true) or takes back (false): the step before, the step after, then onModuleInitializeRunning().
    virtual void initialize(bool init);
    virtual void initializeSelfBefore(bool init);
    virtual void initializeSelfAfter(bool init);
    /// @param isRunning the initialisation still goes on @param init as given to initialize()
    virtual void onModuleInitializeRunning(bool isRunning, bool init);

    bool isInitialized() const { return m_initialized; }

private:
    bool m_initialized = false;
};
