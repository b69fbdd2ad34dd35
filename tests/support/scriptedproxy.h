// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QSslConfiguration>
#include <QString>
#include <QTcpServer>
#include <QUrl>

class QTcpSocket;

/// A proxy on 127.0.0.1, HTTP (requests with whole URLs, and CONNECT) and SOCKS5 on one port, that records what it is
/// asked for. Every name leads to 127.0.0.1, at the port that was asked for, or at one for all. Lives in the test's
/// thread, whose events must go on.
class ScriptedProxy : public QTcpServer
{
    Q_OBJECT

public:
    enum class Kind { Http, Connect, Socks };

    struct Call {
        Kind kind = Kind::Http;
        /// "host:port", as it was asked for.
        QByteArray target;
        /// Of HTTP requests, up to the empty line.
        QByteArray head;
        /// What came as name and password; empty = nothing.
        QByteArray login;
    };

    ScriptedProxy();
    ~ScriptedProxy() override;

    QUrl url(const QString &scheme, const QString &userInfo = QString()) const;
    /// "user:password" that is asked for; empty = nobody is asked.
    void setLogin(const QByteArray &login) { m_login = login; }
    /// HTTP clients are asked by Digest instead.
    void setDigest() { m_isDigest = true; }
    /// Clients have to speak TLS from now on.
    void setTls(const QSslConfiguration &configuration) { m_tls = configuration; }
    /// Whatever port is asked for, this one is meant from now on.
    void setTarget(quint16 port) { m_target = port; }
    /// In order, those that were refused included.
    QList<Call> calls() const { return m_calls; }

protected:
    void incomingConnection(qintptr handle) override;

private:
    enum class State { Start, SocksLogin, SocksRequest, Relaying };
    struct Client {
        State state = State::Start;
        QByteArray input;
        QByteArray login;
        QTcpSocket *server = nullptr;
    };

    void onReadyRead(QTcpSocket *socket);
    bool step(QTcpSocket *socket, Client &client);
    bool stepHttp(QTcpSocket *socket, Client &client);
    bool stepSocksGreeting(QTcpSocket *socket, Client &client);
    bool stepSocksLogin(QTcpSocket *socket, Client &client);
    bool stepSocksRequest(QTcpSocket *socket, Client &client);
    void relay(QTcpSocket *socket, Client &client, quint16 port);

    bool isWelcome(const QByteArray &head) const;

    QByteArray m_login;
    bool m_isDigest = false;
    quint16 m_target = 0; ///< 0 = the one that is asked for
    QSslConfiguration m_tls; ///< null = none
    QList<Call> m_calls;
    QHash<QTcpSocket *, Client> m_clients;

    Q_DISABLE_COPY_MOVE(ScriptedProxy)
};
