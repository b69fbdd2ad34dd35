// SPDX-License-Identifier: MIT
#include <tests/support/scriptedproxy.h>

#include <tests/support/authentication.h>

#include <QHostAddress>
#include <QSslSocket>
#include <QTcpSocket>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{
constexpr char kSocksVersion = 5;
constexpr char kSocksNoLogin = 0;
constexpr char kSocksLogin = 2;
constexpr char kSocksAddress = 1;
constexpr char kSocksName = 3;
constexpr int kWaitMs = 5000;

QByteArray valueOf(const QByteArray &head, const QByteArray &name)
{
    for (const QByteArray &line : head.split('\n')) {
        const qsizetype colon = line.indexOf(':');
        if (line.left(colon).trimmed().compare(name, Qt::CaseInsensitive) == 0) {
            return line.mid(colon + 1).trimmed();
        }
    }
    return {};
}

QByteArray basicLogin(const QByteArray &head)
{
    const QByteArray value = valueOf(head, "Proxy-Authorization");
    return value.startsWith("Basic ") ? QByteArray::fromBase64(value.mid(6)) : QByteArray();
}

quint16 portOf(const char *bytes)
{
    return quint16((quint8(bytes[0]) << 8) | quint8(bytes[1]));
}
}

ScriptedProxy::ScriptedProxy()
{
    listen(QHostAddress::LocalHost);
}

ScriptedProxy::~ScriptedProxy()
{
    const QList<QTcpSocket *> sockets = findChildren<QTcpSocket *>(QString(), Qt::FindDirectChildrenOnly);
    for (QTcpSocket *socket : sockets) {
        socket->disconnect(this);
    }
    qDeleteAll(sockets);
}

QUrl ScriptedProxy::url(const QString &scheme, const QString &userInfo) const
{
    const QString login = userInfo.isEmpty() ? QString() : userInfo + u'@';
    return QUrl(scheme + u"://"_s + login + u"127.0.0.1:"_s + QString::number(serverPort()));
}

void ScriptedProxy::incomingConnection(qintptr handle)
{
    auto *socket = new QSslSocket(this);
    if (!socket->setSocketDescriptor(handle)) {
        delete socket;
        return;
    }
    m_clients.insert(socket, {});
    if (!m_tls.isNull()) {
        socket->setSslConfiguration(m_tls);
        socket->startServerEncryption();
    }
    connect(socket, &QTcpSocket::readyRead, this, [this, socket] { onReadyRead(socket); });
    connect(socket, &QTcpSocket::disconnected, this, [this, socket] {
        const Client client = m_clients.take(socket);
        if (client.server) {
            client.server->abort();
        }
        socket->deleteLater();
    });
}

void ScriptedProxy::onReadyRead(QTcpSocket *socket)
{
    Client &client = m_clients[socket];
    client.input += socket->readAll();
    while (step(socket, client)) {}
}

/// False when it needs more bytes.
bool ScriptedProxy::step(QTcpSocket *socket, Client &client)
{
    if (client.input.isEmpty()) {
        return false;
    }
    switch (client.state) {
    case State::Start:
        return client.input.at(0) == kSocksVersion ? stepSocksGreeting(socket, client) : stepHttp(socket, client);
    case State::SocksLogin:
        return stepSocksLogin(socket, client);
    case State::SocksRequest:
        return stepSocksRequest(socket, client);
    case State::Relaying:
        client.server->write(client.input);
        client.input.clear();
        return false;
    }
    return false;
}

bool ScriptedProxy::stepHttp(QTcpSocket *socket, Client &client)
{
    const qsizetype end = client.input.indexOf("\r\n\r\n");
    if (end < 0) {
        return false;
    }
    const QByteArray head = client.input.left(end + 2);
    client.input.remove(0, end + 4);
    const QByteArray asked = head.split(' ').value(1);
    const bool isConnect = head.startsWith("CONNECT ");
    const QUrl url = QUrl::fromEncoded(isConnect ? "any://" + asked : asked);
    m_calls.append({isConnect ? Kind::Connect : Kind::Http,
                    url.host().toUtf8() + ':' + QByteArray::number(url.port(80)), head, basicLogin(head)});
    if (!isWelcome(head)) {
        const QByteArray challenge =
            m_isDigest ? "Digest realm=\"realm\", qop=\"auth\", nonce=\"f00dcafe\"" : "Basic realm=\"proxy\"";
        socket->write("HTTP/1.1 407 Who are you\r\nProxy-Authenticate: " + challenge + "\r\nContent-Length: 0\r\n\r\n");
        return true;
    }
    if (isConnect) {
        socket->write("HTTP/1.1 200 Connected\r\n\r\n");
    } else {
        // One request to a connection will do; the server closes behind it.
        const QByteArray path = url.toEncoded(QUrl::RemoveScheme | QUrl::RemoveAuthority);
        QByteArray passed = head;
        passed.replace(' ' + asked + ' ', ' ' + path + ' ');
        // What is for the proxy stays there.
        if (const qsizetype field = passed.indexOf("\r\nProxy-Authorization:"); field >= 0) {
            passed.remove(field, passed.indexOf("\r\n", field + 2) - field);
        }
        client.input.prepend(passed + "\r\n");
    }
    relay(socket, client, quint16(url.port(80)));
    return true;
}

bool ScriptedProxy::isWelcome(const QByteArray &head) const
{
    if (m_login.isEmpty() || !m_isDigest) {
        return m_login.isEmpty() || basicLogin(head) == m_login;
    }
    const QList<QByteArray> words = head.split(' ');
    // Of a whole URL most clients name the path alone, and proxies take what they name.
    const QByteArray target =
        words.value(0) == "CONNECT" ? words.value(1) : QUrl::fromEncoded(words.value(1)).path().toUtf8();
    return Authentication::answersDigest(valueOf(head, "Proxy-Authorization"), words.value(0), target, m_login);
}

bool ScriptedProxy::stepSocksGreeting(QTcpSocket *socket, Client &client)
{
    if (client.input.size() < 2 || client.input.size() < 2 + client.input.at(1)) {
        return false;
    }
    client.input.remove(0, 2 + client.input.at(1));
    const bool asks = !m_login.isEmpty();
    socket->write(QByteArray(1, kSocksVersion) + (asks ? kSocksLogin : kSocksNoLogin));
    client.state = asks ? State::SocksLogin : State::SocksRequest;
    return true;
}

bool ScriptedProxy::stepSocksLogin(QTcpSocket *socket, Client &client)
{
    const qsizetype userSize = client.input.size() < 2 ? 0 : client.input.at(1);
    if (client.input.size() < 3 + userSize || client.input.size() < 3 + userSize + client.input.at(2 + userSize)) {
        return false;
    }
    const qsizetype passwordSize = client.input.at(2 + userSize);
    client.login = client.input.mid(2, userSize) + ':' + client.input.mid(3 + userSize, passwordSize);
    client.input.remove(0, 3 + userSize + passwordSize);
    const bool welcome = client.login == m_login;
    socket->write(QByteArray(1, '\1') + char(welcome ? 0 : 1));
    client.state = State::SocksRequest;
    if (!welcome) {
        m_calls.append({Kind::Socks, {}, {}, client.login});
        client.input.clear();
        socket->disconnectFromHost();
        return false;
    }
    return true;
}

bool ScriptedProxy::stepSocksRequest(QTcpSocket *socket, Client &client)
{
    const QByteArray &input = client.input;
    if (input.size() < 5) {
        return false;
    }
    const qsizetype start = input.at(3) == kSocksName ? 5 : 4;
    const qsizetype length = input.at(3) == kSocksName ? quint8(input.at(4)) : 4;
    if (input.size() < start + length + 2) {
        return false;
    }
    const QByteArray host = input.at(3) == kSocksAddress
        ? QHostAddress(quint32(portOf(&input.constData()[4])) << 16 | portOf(&input.constData()[6])).toString().toUtf8()
        : input.mid(start, length);
    const quint16 port = portOf(&input.constData()[start + length]);
    client.input.remove(0, start + length + 2);
    m_calls.append({Kind::Socks, host + ':' + QByteArray::number(port), {}, client.login});
    socket->write(QByteArray::fromHex("05000001000000000000"));
    relay(socket, client, port);
    return true;
}

void ScriptedProxy::relay(QTcpSocket *socket, Client &client, quint16 port)
{
    client.state = State::Relaying;
    client.server = new QTcpSocket(this);
    QTcpSocket *const server = client.server;
    connect(server, &QTcpSocket::readyRead, socket, [server, socket] {
        const QByteArray bytes = server->readAll();
        if (socket->isOpen()) {
            socket->write(bytes);
        }
    });
    connect(server, &QTcpSocket::disconnected, socket, &QTcpSocket::disconnectFromHost);
    connect(server, &QTcpSocket::disconnected, server, &QObject::deleteLater);
    connect(socket, &QObject::destroyed, server, [server, socket] {
        // What is left of it takes no call any more.
        server->disconnect(socket);
        server->abort();
    });
    server->connectToHost(QHostAddress::LocalHost, m_target != 0 ? m_target : port);
    server->waitForConnected(kWaitMs);
}
