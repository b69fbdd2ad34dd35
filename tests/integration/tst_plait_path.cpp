// SPDX-License-Identifier: MIT
#include <tests/integration/plaitsandbox.h>
#include <tests/support/nginxserver.h>
#include <tests/support/scriptedserver.h>
#include <tests/support/testca.h>
#include <tests/support/testfiles.h>

#include <QProcess>
#include <QTcpServer>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace
{
constexpr int kDone = 0;
constexpr int kTimeOut = 2;
constexpr int kBadOption = 28;

/// A download gives up by itself after 120 s, with the same status.
constexpr int kLongBeforeTheLimit = 60000;

constexpr quint64 kSeed = 71;
constexpr qint64 kSize = 1024 * 1024;
}

/// By which way, how patiently and as whom people have the program speak to servers.
class TestPlaitPath : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void aClientCertificateLetsOneIn_data();
    void aClientCertificateLetsOneIn();
    void withoutItsCertificateNobodyIsLetIn();
    void aCertificateThatCannotBeShownIsSaidBeforeAnythingIsAsked_data();
    void aCertificateThatCannotBeShownIsSaidBeforeAnythingIsAsked();
    void aKeyWithAPasswordIsOpenedByItAndAsksNobody();

    void aHostIsTakenFromTheCommandLine();
    void anInterfaceIsUsedOrMissed_data();
    void anInterfaceIsUsedOrMissed();
    void addressesOfOneKindAloneAreUsed_data();
    void addressesOfOneKindAloneAreUsed();

    void aConnectionThatDoesNotComeIsGivenUp();
    void aSilentConnectionIsGivenUpAndTheNextGoesOn();

private:
    PlaitResult fetch(const QUrl &url, const QStringList &arguments = {});
    void verifyWhole(const PlaitResult &result) const;

    TestCa m_ca;
    QString m_known; ///< a client's certificate, without its ending
    NginxServer m_nginx;
    std::unique_ptr<PlaitSandbox> m_plait;
};

void TestPlaitPath::initTestCase()
{
    QVERIFY2(m_ca.isValid(), qPrintable(m_ca.errorText()));
    m_known = m_ca.issueForClients(u"client"_s);
    QVERIFY2(!m_known.isEmpty(), qPrintable(m_ca.errorText()));
    QVERIFY2(m_nginx.start(m_ca), qPrintable(m_nginx.errorText()));
    QVERIFY(m_nginx.addFile(u"file.bin"_s, kSeed, kSize));
}

void TestPlaitPath::init()
{
    m_plait = std::make_unique<PlaitSandbox>();
}

PlaitResult TestPlaitPath::fetch(const QUrl &url, const QStringList &arguments)
{
    return m_plait->run(arguments
                        + QStringList{u"--tries"_s, u"1"_s, u"--ca-certificate"_s, m_ca.caFile(), url.toString()});
}

void TestPlaitPath::verifyWhole(const PlaitResult &result) const
{
    QVERIFY2(result.status == kDone, result.err);
    QCOMPARE(m_plait->files(), QStringList(u"file.bin"_s));
    QCOMPARE(TestFiles::sha256OfFile(m_plait->path(u"file.bin"_s)), TestFiles::sha256OfContent(kSeed, kSize));
}

void TestPlaitPath::aClientCertificateLetsOneIn_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("certificate and key in two files")
        << QStringList{u"--cert"_s, m_known + u".pem"_s, u"--key"_s, m_known + u".key"_s};
    QTest::newRow("by the names that others have for them")
        << QStringList{u"--certificate"_s, m_known + u".pem"_s, u"--private-key"_s, m_known + u".key"_s};
}

void TestPlaitPath::aClientCertificateLetsOneIn()
{
    QFETCH(QStringList, arguments);
    verifyWhole(fetch(m_nginx.url(u"/known/file.bin"_s, RealServer::Scheme::Https), arguments));
}

void TestPlaitPath::withoutItsCertificateNobodyIsLetIn()
{
    const PlaitResult result = fetch(m_nginx.url(u"/known/file.bin"_s, RealServer::Scheme::Https));
    QVERIFY2(result.status != kDone, result.err);
    QVERIFY(m_plait->files().isEmpty());
}

void TestPlaitPath::aCertificateThatCannotBeShownIsSaidBeforeAnythingIsAsked_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QByteArray>("words");
    const QString certificate = m_known + u".pem"_s;
    QTest::newRow("no key") << QStringList{u"--cert"_s, certificate} << "there is no key in PEM form in it"_ba;
    QTest::newRow("another's key") << QStringList{u"--cert"_s, certificate, u"--key"_s, m_ca.keyFile()}
                                   << "the key is of another certificate"_ba;
    QTest::newRow("no certificate") << QStringList{u"--cert"_s, m_known + u".key"_s}
                                    << "there is no certificate in PEM form in it"_ba;
}

void TestPlaitPath::aCertificateThatCannotBeShownIsSaidBeforeAnythingIsAsked()
{
    QFETCH(QStringList, arguments);
    QFETCH(QByteArray, words);
    const qsizetype before = m_nginx.accessLog().size();
    const PlaitResult result = fetch(m_nginx.url(u"/known/file.bin"_s, RealServer::Scheme::Https), arguments);
    QVERIFY2(result.status != kDone, result.err);
    QVERIFY2(result.err.contains(words), result.err);
    QCOMPARE(m_nginx.accessLog().size(), before);
}

void TestPlaitPath::aKeyWithAPasswordIsOpenedByItAndAsksNobody()
{
    const QString locked = m_plait->dataHome() + u"/locked.key"_s;
    QCOMPARE(QProcess::execute(u"openssl"_s,
                               {u"pkey"_s, u"-in"_s, m_known + u".key"_s, u"-aes128"_s, u"-passout"_s, u"pass:open"_s,
                                u"-out"_s, locked}),
             0);
    const QUrl url = m_nginx.url(u"/known/file.bin"_s, RealServer::Scheme::Https);
    const QStringList shown{u"--cert"_s, m_known + u".pem"_s, u"--key"_s, locked};
    const PlaitResult refused = fetch(url, shown);
    QVERIFY2(refused.err.contains("it has another password"), refused.err);
    verifyWhole(fetch(url, shown + QStringList{u"--key-password"_s, u"open"_s}));
}

void TestPlaitPath::aHostIsTakenFromTheCommandLine()
{
    QUrl url = m_nginx.url(u"/file.bin"_s);
    url.setHost(u"files.invalid"_s);
    verifyWhole(fetch(url, {u"--resolve"_s, u"files.invalid:%1:127.0.0.1"_s.arg(url.port())}));
}

void TestPlaitPath::anInterfaceIsUsedOrMissed_data()
{
    QTest::addColumn<QString>("interface");
    QTest::addColumn<int>("status");
    QTest::newRow("by its name") << u"lo"_s << kDone;
    QTest::newRow("by its address") << u"127.0.0.1"_s << kDone;
    QTest::newRow("one that is not there") << u"tun99"_s << kBadOption;
    QTest::newRow("an address that is not this machine's") << u"192.0.2.77"_s << kBadOption;
}

void TestPlaitPath::anInterfaceIsUsedOrMissed()
{
    QFETCH(QString, interface);
    QFETCH(int, status);
    const PlaitResult result = fetch(m_nginx.url(u"/file.bin"_s), {u"--interface"_s, interface});
    if (status == kDone)
        return verifyWhole(result);
    QVERIFY2(result.status != kDone, result.err);
    QVERIFY2(result.err.contains("cannot go out by the interface \"" + interface.toUtf8() + "\": this machine has lo"),
             result.err);
}

void TestPlaitPath::addressesOfOneKindAloneAreUsed_data()
{
    QTest::addColumn<QString>("option");
    QTest::addColumn<bool>("comes");
    QTest::newRow("IPv4 of a server at an IPv4 address") << u"-4"_s << true;
    QTest::newRow("IPv6 of a server at an IPv4 address") << u"-6"_s << false;
}

void TestPlaitPath::addressesOfOneKindAloneAreUsed()
{
    QFETCH(QString, option);
    QFETCH(bool, comes);
    QUrl url = m_nginx.url(u"/file.bin"_s);
    url.setHost(u"localhost"_s);
    const PlaitResult result = fetch(url, {option});
    if (comes)
        return verifyWhole(result);
    QVERIFY2(result.status != kDone, result.err);
}

void TestPlaitPath::aConnectionThatDoesNotComeIsGivenUp()
{
    // It takes connections, and never says a word of TLS.
    QTcpServer silent;
    QVERIFY(silent.listen(QHostAddress::LocalHost));
    m_plait->start(
        {u"--tries"_s, u"1"_s, u"--connect-timeout"_s, u"0.3"_s, u"https://127.0.0.1:%1/x"_s.arg(silent.serverPort())});
    const PlaitResult result = m_plait->finish(kLongBeforeTheLimit);
    QVERIFY2(result.status == kTimeOut, result.err);
}

void TestPlaitPath::aSilentConnectionIsGivenUpAndTheNextGoesOn()
{
    ScriptedServer server;
    ScriptedResponse stuck = ScriptedResponse::file(kSeed, kSize);
    stuck.holdAfter = kSize / 4;
    stuck.holdGate = u"never"_s;
    server.setResponses("/file.bin", {stuck, ScriptedResponse::file(kSeed, kSize)});
    verifyWhole(m_plait->run(
        {u"-x"_s, u"1"_s, u"--retry-wait"_s, u"0"_s, u"--timeout"_s, u"1"_s, server.url(u"/file.bin"_s).toString()}));
    QCOMPARE(server.requests("/file.bin").size(), 2);
}

QTEST_GUILESS_MAIN(TestPlaitPath)
#include "tst_plait_path.moc"
