// SPDX-License-Identifier: MIT
#pragma once

#include <cli/exitstatus.h>

#include <QObject>

/// A command while it runs. begin() is answered by exactly one done(), with the session closed.
class Runner : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(Runner)

public:
    explicit Runner(QObject *parent = nullptr)
        : QObject(parent)
    {
    }

    virtual void begin() = 0;
    /// Ends in order what runs; what has not begun is left out.
    virtual void stop() = 0;

Q_SIGNALS:
    /// @param status of the first thing that failed
    void done(ExitStatus status);
};
