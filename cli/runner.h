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

protected:
    /// Once. Nothing may come behind it: whoever hears of it may be rid of this.
    void finish(ExitStatus status)
    {
        Q_ASSERT_X(!m_hasEnded, "Runner", "one done()");
        m_hasEnded = true;
        Q_EMIT done(status);
    }

private:
    bool m_hasEnded = false;
};
