// SPDX-License-Identifier: MIT
#include <tests/unit/host/network/credentialsbench.h>

#include <QNetworkReply>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

/// Answers every request itself, and counts them.
class ProxyAtIPv6 : public QTcpServer
{
public:
    ProxyAtIPv6()
    {
        connect(this, &QTcpServer::newConnection, this, [this] {
            QTcpSocket *const socket = nextPendingConnection();
            connect(socket, &QTcpSocket::readyRead, this, [this, socket] { answer(socket); });
        });
    }
    int answered() const { return m_answered; }

private:
    void answer(QTcpSocket *socket)
    {
        if (!socket->peek(64 * 1024).endsWith("\r\n\r\n"))
            return;
        socket->readAll();
        socket->write("HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nproxy");
        ++m_answered;
    }

    int m_answered = 0;
};

}

/// How proxies are found by what names them.
class TestNetworkProxies : public CredentialsBench
{
    Q_OBJECT

private Q_SLOTS:
    void aProxyWithAnIPv6AddressIsUsed();
};

void TestNetworkProxies::aProxyWithAnIPv6AddressIsUsed()
{
    ProxyAtIPv6 proxy;
    QVERIFY2(proxy.listen(QHostAddress::LocalHostIPv6), qPrintable(proxy.errorString()));
    NetworkOptions options;
    options.proxy = QUrl(u"http://[::1]:%1"_s.arg(proxy.serverPort()));
    QVERIFY(apply(options));
    const Reply reply = get(QUrl(u"http://files.example/file"_s));
    QVERIFY(waitForEnd(reply));
    QVERIFY2(reply->error() == QNetworkReply::NoError, qPrintable(reply->errorString()));
    QCOMPARE(reply->readAll(), QByteArray("proxy"));
    QCOMPARE(proxy.answered(), 1);
}

QTEST_GUILESS_MAIN(TestNetworkProxies)
#include "tst_networkproxies.moc"
