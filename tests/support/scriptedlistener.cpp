// SPDX-License-Identifier: MIT
#include <tests/support/scriptedlistener.h>

#include <tests/support/scriptbook.h>
#include <tests/support/scriptedconnection.h>

#include <QSslSocket>

#include <utility>

ScriptedListener::ScriptedListener(std::shared_ptr<ScriptBook> book)
    : m_book(std::move(book))
{
}

ScriptedListener::~ScriptedListener()
{
    dropConnections();
}

void ScriptedListener::setTls(const QSslConfiguration &tls)
{
    m_tls = tls;
}

void ScriptedListener::resumeConnections()
{
    for (ScriptedConnection *connection : connections()) {
        connection->resume();
    }
}

void ScriptedListener::dropConnections()
{
    qDeleteAll(connections());
}

void ScriptedListener::incomingConnection(qintptr handle)
{
    auto *socket = m_tls ? new QSslSocket : new QTcpSocket;
    if (!socket->setSocketDescriptor(handle)) {
        delete socket;
        return;
    }
    auto *connection = new ScriptedConnection(m_book, socket, this);
    if (m_tls) {
        connection->startTls(*m_tls);
    }
}

QList<ScriptedConnection *> ScriptedListener::connections() const
{
    return findChildren<ScriptedConnection *>(QString(), Qt::FindDirectChildrenOnly);
}
