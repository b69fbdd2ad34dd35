// SPDX-License-Identifier: MIT
#pragma once

#include <QThread>

class QTcpServer;

/// Has a listener wait on a free port of 127.0.0.1 in a thread of its own, so that a server answers whatever the test's
/// thread does.
class ListenerThread
{
public:
    /// Takes the listener, which lives in the thread from now on and is deleted as that ends, with all its children.
    explicit ListenerThread(QTcpServer *listener);
    ~ListenerThread();

    /// 0 when none could be opened.
    quint16 port() const { return m_port; }

private:
    QThread m_thread;
    quint16 m_port = 0;

    Q_DISABLE_COPY_MOVE(ListenerThread)
};
