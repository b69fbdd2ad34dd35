// SPDX-License-Identifier: MIT
#include <tests/support/listenerthread.h>

#include <QHostAddress>
#include <QTcpServer>

ListenerThread::ListenerThread(QTcpServer *listener)
{
    listener->moveToThread(&m_thread);
    QObject::connect(&m_thread, &QThread::finished, listener, &QObject::deleteLater);
    m_thread.start();
    QMetaObject::invokeMethod(
        listener,
        [this, listener] {
            if (listener->listen(QHostAddress::LocalHost)) {
                m_port = listener->serverPort();
            }
        },
        Qt::BlockingQueuedConnection);
}

ListenerThread::~ListenerThread()
{
    m_thread.quit();
    m_thread.wait();
}
