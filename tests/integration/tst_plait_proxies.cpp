// SPDX-License-Identifier: MIT
#include <tests/integration/plaitsandbox.h>
#include <tests/support/ftpserver.h>
#include <tests/support/nginxserver.h>
#include <tests/support/socksproxy.h>
#include <tests/support/squidproxy.h>
#include <tests/support/testca.h>
#include <tests/support/testfiles.h>

#include <QTest>

#include <algorithm>
#include <memory>

using namespace Qt::StringLiterals;

namespace
{
constexpr int kDone = 0;
constexpr int kAuthentication = 24;

constexpr quint64 kSeed = 43;
constexpr qint64 kSize = 3 * 1024 * 1024;
const QString kName = u"file.bin"_s;

bool isLetIn(const QByteArray &request)
{
    return !request.contains(" 407 ");
}

/// @param login that it was given; empty = none
QByteArray refusedBy(const QUrl &proxy, const QString &login)
{
    const QByteArray words = login.isEmpty() ? "asks for a name and a password"_ba : "does not let in \"agent\""_ba;
    return "the proxy \"" + proxy.authority().toUtf8() + "\" " + words;
}
}

/// The proxies that people have, with servers of every kind behind them: Squid and microsocks.
class TestPlaitProxies : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void aFileComesThroughSquid_data();
    void aFileComesThroughSquid();
    void severalPiecesComeThroughSquidAtOnce();
    void squidRefusesWhoDoesNotSayWhoHeIs_data();
    void squidRefusesWhoDoesNotSayWhoHeIs();

    void aFileComesThroughASocksProxy_data();
    void aFileComesThroughASocksProxy();
    void theSocksProxyLooksUpNamesItself();
    void aSocksProxyRefusesWhoDoesNotSayWhoHeIs_data();
    void aSocksProxyRefusesWhoDoesNotSayWhoHeIs();

private:
    QUrl urlOf(const QString &scheme) const;
    PlaitResult fetch(const QUrl &proxy, const QUrl &url, const QStringList &arguments = {});
    void verifyWhole(const PlaitResult &result) const;

    TestCa m_ca;
    NginxServer m_nginx;
    FtpServer m_ftp;
    SquidProxy m_squid{SquidProxy::Access::Anybody};
    SquidProxy m_closedSquid{SquidProxy::Access::KnownOnly};
    SocksProxy m_socks{SocksProxy::Access::Anybody};
    SocksProxy m_closedSocks{SocksProxy::Access::KnownOnly};
    std::unique_ptr<PlaitSandbox> m_plait;
};

void TestPlaitProxies::initTestCase()
{
    QVERIFY2(m_ca.isValid(), qPrintable(m_ca.errorText()));
    QVERIFY2(m_nginx.start(m_ca), qPrintable(m_nginx.errorText()));
    QVERIFY2(m_ftp.isListening(), qPrintable(m_ftp.errorText()));
    QVERIFY2(m_squid.start(), qPrintable(m_squid.errorText()));
    QVERIFY2(m_closedSquid.start(), qPrintable(m_closedSquid.errorText()));
    QVERIFY2(m_socks.start(), qPrintable(m_socks.errorText()));
    QVERIFY2(m_closedSocks.start(), qPrintable(m_closedSocks.errorText()));
    QVERIFY(m_nginx.addFile(kName, kSeed, kSize));
    QVERIFY(m_ftp.addFile(kName, kSeed, kSize));
}

void TestPlaitProxies::init()
{
    m_plait = std::make_unique<PlaitSandbox>();
}

QUrl TestPlaitProxies::urlOf(const QString &scheme) const
{
    if (scheme == u"ftp") {
        return m_ftp.url(u"/file.bin"_s);
    }
    return m_nginx.url(u"/file.bin"_s, scheme == u"https" ? RealServer::Scheme::Https : RealServer::Scheme::Http);
}

PlaitResult TestPlaitProxies::fetch(const QUrl &proxy, const QUrl &url, const QStringList &arguments)
{
    return m_plait->run(arguments
                        + QStringList{u"--tries"_s, u"1"_s, u"--ca-certificate"_s, m_ca.caFile(), u"--proxy"_s,
                                      proxy.toString(), url.toString()});
}

void TestPlaitProxies::verifyWhole(const PlaitResult &result) const
{
    QVERIFY2(result.status == kDone, result.err);
    QCOMPARE(m_plait->files(), QStringList(kName));
    QCOMPARE(TestFiles::sha256OfFile(m_plait->path(kName)), TestFiles::sha256OfContent(kSeed, kSize));
}

void TestPlaitProxies::aFileComesThroughSquid_data()
{
    QTest::addColumn<QString>("scheme");
    QTest::addColumn<bool>("asks");
    QTest::addColumn<QByteArray>("method");
    for (const bool asks : {false, true}) {
        const char *who = asks ? "with a login" : "without a login";
        QTest::addRow("http, %s", who) << u"http"_s << asks << "GET "_ba;
        QTest::addRow("https, %s", who) << u"https"_s << asks << "CONNECT "_ba;
    }
}

void TestPlaitProxies::aFileComesThroughSquid()
{
    QFETCH(QString, scheme);
    QFETCH(bool, asks);
    QFETCH(QByteArray, method);
    const SquidProxy &proxy = asks ? m_closedSquid : m_squid;
    const qsizetype before = proxy.requests().size();
    verifyWhole(fetch(proxy.url(asks ? QString::fromLatin1(SquidProxy::kLogin) : QString()), urlOf(scheme)));
    const QByteArray user = asks ? " 200 agent"_ba : " 200 -"_ba;
    const auto isThere = [&] {
        const QByteArrayList requests = proxy.requests().mid(before);
        return std::any_of(requests.begin(), requests.end(), [&](const QByteArray &request) {
            return request.startsWith(method) && request.endsWith(user);
        });
    };
    QTRY_VERIFY2(isThere(), proxy.requests().join('\n'));
}

void TestPlaitProxies::severalPiecesComeThroughSquidAtOnce()
{
    verifyWhole(
        fetch(m_squid.url(), m_nginx.url(u"/rate/500k/file.bin"_s), {u"-x"_s, u"4"_s, u"--user-agent"_s, u"pieces"_s}));
    const auto piecesCount = [this] {
        const QList<RealServer::LogEntry> entries = m_nginx.logEntriesOf("pieces");
        return std::count_if(entries.begin(), entries.end(),
                             [](const RealServer::LogEntry &entry) { return entry.status == 206; });
    };
    QTRY_VERIFY2(piecesCount() >= 3, m_nginx.accessLog());
}

void TestPlaitProxies::squidRefusesWhoDoesNotSayWhoHeIs_data()
{
    QTest::addColumn<QString>("scheme");
    QTest::addColumn<QString>("login");
    for (const QString &scheme : {u"http"_s, u"https"_s}) {
        QTest::addRow("nobody, on the way to %s", qPrintable(scheme)) << scheme << QString();
        QTest::addRow("a wrong password, on the way to %s", qPrintable(scheme)) << scheme << u"agent:wrong"_s;
    }
}

void TestPlaitProxies::squidRefusesWhoDoesNotSayWhoHeIs()
{
    QFETCH(QString, scheme);
    QFETCH(QString, login);
    const qsizetype before = m_closedSquid.requests().size();
    const PlaitResult result = fetch(m_closedSquid.url(login), urlOf(scheme));
    QVERIFY2(result.status == kAuthentication, result.err);
    QVERIFY2(result.err.contains(refusedBy(m_closedSquid.url(), login)), result.err);
    QVERIFY2(!result.err.contains("agent:wrong"), result.err);
    QCOMPARE(m_plait->files(), QStringList());
    const QByteArrayList requests = m_closedSquid.requests().mid(before);
    QVERIFY2(std::none_of(requests.begin(), requests.end(), isLetIn), requests.join('\n'));
}

void TestPlaitProxies::aFileComesThroughASocksProxy_data()
{
    QTest::addColumn<QString>("scheme");
    QTest::addColumn<QString>("proxyScheme");
    QTest::addColumn<bool>("asks");
    for (const QString &scheme : {u"http"_s, u"https"_s, u"ftp"_s}) {
        for (const bool asks : {false, true}) {
            QTest::addRow("%s, %s", qPrintable(scheme), asks ? "with a login" : "without a login")
                << scheme << u"socks5"_s << asks;
        }
    }
    QTest::newRow("http, as socks5h") << u"http"_s << u"socks5h"_s << false;
}

void TestPlaitProxies::aFileComesThroughASocksProxy()
{
    QFETCH(QString, scheme);
    QFETCH(QString, proxyScheme);
    QFETCH(bool, asks);
    const SocksProxy &proxy = asks ? m_closedSocks : m_socks;
    const QUrl url = urlOf(scheme);
    const qsizetype before = proxy.targets().size();
    verifyWhole(fetch(proxy.url(proxyScheme, asks ? QString::fromLatin1(SocksProxy::kLogin) : QString()), url));
    QVERIFY2(proxy.targets().mid(before).contains("127.0.0.1:" + QByteArray::number(url.port())), proxy.output());
}

void TestPlaitProxies::theSocksProxyLooksUpNamesItself()
{
    QUrl url = urlOf(u"http"_s);
    url.setHost(u"localhost"_s);
    verifyWhole(fetch(m_socks.url(u"socks5h"_s), url));
    QVERIFY2(m_socks.targets().contains("localhost:" + QByteArray::number(url.port())), m_socks.output());
}

void TestPlaitProxies::aSocksProxyRefusesWhoDoesNotSayWhoHeIs_data()
{
    QTest::addColumn<QString>("scheme");
    QTest::addColumn<QString>("login");
    for (const QString &scheme : {u"http"_s, u"https"_s, u"ftp"_s}) {
        QTest::addRow("nobody, on the way to %s", qPrintable(scheme)) << scheme << QString();
        QTest::addRow("a wrong password, on the way to %s", qPrintable(scheme)) << scheme << u"agent:wrong"_s;
    }
}

void TestPlaitProxies::aSocksProxyRefusesWhoDoesNotSayWhoHeIs()
{
    QFETCH(QString, scheme);
    QFETCH(QString, login);
    const qsizetype before = m_closedSocks.targets().size();
    const PlaitResult result = fetch(m_closedSocks.url(u"socks5"_s, login), urlOf(scheme));
    QVERIFY2(result.status == kAuthentication, result.err);
    QVERIFY2(result.err.contains(refusedBy(m_closedSocks.url(u"socks5"_s), login)), result.err);
    QCOMPARE(m_plait->files(), QStringList());
    QCOMPARE(m_closedSocks.targets().size(), before);
}

QTEST_GUILESS_MAIN(TestPlaitProxies)
#include "tst_plait_proxies.moc"
