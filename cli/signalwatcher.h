// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>

class QSocketNotifier;

/// Turns SIGINT, SIGTERM and SIGHUP into a Qt signal. The first one asks for a stop; the second ends the process at
/// once, even where the event loop no longer turns. Signals that come together are one: some programs signal a process
/// and its group. One object at a time.
class SignalWatcher : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(SignalWatcher)

public:
    /// ms from the first signal on in which another one says nothing more.
    static constexpr qint64 kOneWishMs = 300;

    explicit SignalWatcher(QObject *parent = nullptr);
    /// The signals get their usual effect back.
    ~SignalWatcher() override;

Q_SIGNALS:
    void stopRequested();

private:
    void onReadable();

    int m_pipe[2] = {-1, -1};
    QSocketNotifier *m_notifier = nullptr; ///< a child
};
