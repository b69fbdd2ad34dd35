// SPDX-License-Identifier: MIT
#pragma once

#include <tests/support/scriptedserver.h>

#include <QByteArray>
#include <QHostAddress>
#include <QTcpSocket>
#include <QTest>

/// A client that hides nothing: it sends bytes and keeps what comes back.
class RawClient
{
public:
    explicit RawClient(const ScriptedServer &server)
        : RawClient(server.port())
    {
    }

    explicit RawClient(quint16 port)
    {
        m_socket.connectToHost(QHostAddress(QHostAddress::LocalHost), port);
        m_socket.waitForConnected(ScriptedServer::kPatienceMs);
    }

    void send(const QByteArray &bytes) { m_socket.write(bytes); }

    void get(const QByteArray &target, const QByteArray &headers = QByteArray())
    {
        send("GET " + target + " HTTP/1.1\r\nHost: test\r\n" + headers + "\r\n");
    }

    bool waitFor(const QByteArray &bytes)
    {
        return QTest::qWaitFor([&] { return received().contains(bytes); }, ScriptedServer::kPatienceMs);
    }

    bool waitForSize(qsizetype size)
    {
        return QTest::qWaitFor([&] { return received().size() >= size; }, ScriptedServer::kPatienceMs);
    }

    bool waitForClose()
    {
        const bool closed = QTest::qWaitFor([&] { return m_socket.state() == QAbstractSocket::UnconnectedState; },
                                            ScriptedServer::kPatienceMs);
        received();
        return closed;
    }

    const QByteArray &received()
    {
        m_received += m_socket.readAll();
        return m_received;
    }

    QByteArray head() { return received().left(received().indexOf("\r\n\r\n")); }

    QByteArray body() { return received().mid(received().indexOf("\r\n\r\n") + 4); }

    QTcpSocket &socket() { return m_socket; }

private:
    QTcpSocket m_socket;
    QByteArray m_received;
};

/// The whole answer to one request, on a connection of its own.
inline QByteArray answerTo(const ScriptedServer &server, const QByteArray &target,
                           const QByteArray &headers = QByteArray())
{
    RawClient client(server);
    client.get(target, headers + "Connection: close\r\n");
    client.waitForClose();
    return client.received();
}

inline ScriptedResponse closing(ScriptedResponse response)
{
    response.closesConnection = true;
    return response;
}
