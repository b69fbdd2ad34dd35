// SPDX-License-Identifier: MIT
#include <tests/integration/plaitsandbox.h>
#include <tests/integration/realservers.h>
#include <tests/support/scriptedserver.h>
#include <tests/support/testfiles.h>

#include <QTest>

using namespace Qt::StringLiterals;

namespace
{
using Kind = RealServers::Kind;
using Scheme = RealServer::Scheme;

constexpr int kDone = 0;
constexpr int kNotFound = 3;
constexpr int kNetworkProblem = 6;
constexpr int kCannotCreateFile = 16;
constexpr int kNameResolution = 19;
constexpr int kBadResponse = 22;
constexpr int kTooManyRedirects = 23;
constexpr int kAuthentication = 24;
constexpr int kBadOption = 28;
constexpr int kServerOverloaded = 29;
constexpr int kCertificateRefused = 34;

constexpr quint64 kSeed = 13;
constexpr qint64 kSize = 200000;
}

/// Whatever goes wrong has a message that says what, an exit status of its own kind, and leaves no file that looks
/// whole.
class TestPlaitFailures : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void aRefusedRequestHasItsStatusAndMessage_data();
    void aRefusedRequestHasItsStatusAndMessage();
    void aRefusedPortIsANetworkProblem();
    void anUnknownHostIsANameProblem();
    void theSixteenthRedirectFails_data();
    void theSixteenthRedirectFails();
    void aRedirectToItselfFails();
    void anUntrustedCertificateIsRefused_data();
    void anUntrustedCertificateIsRefused();
    void anUntrustedCertificateIsAcceptedWithInsecure_data();
    void anUntrustedCertificateIsAcceptedWithInsecure();
    void aCertificateOfAnotherNameIsRefused();
    void aBodyCutShortIsNoWholeFile_data();
    void aBodyCutShortIsNoWholeFile();
    void anAnswerThatIsNoHttpLeavesNoFile_data();
    void anAnswerThatIsNoHttpLeavesNoFile();
    void aWrongOptionIsSaidBeforeAnythingIsAsked_data();
    void aWrongOptionIsSaidBeforeAnythingIsAsked();
    void anUnsupportedSchemeIsABadOption();
    void aFolderThatCannotBeIsAFileProblem();

private:
    static void verifyFailure(PlaitSandbox &plait, const PlaitResult &result, int status, const QByteArray &words);

    RealServers m_servers;
};

void TestPlaitFailures::initTestCase()
{
    QVERIFY2(m_servers.start(), qPrintable(m_servers.errorText()));
    QVERIFY(m_servers.addFile(u"file.bin"_s, kSeed, kSize));
}

void TestPlaitFailures::verifyFailure(PlaitSandbox &plait, const PlaitResult &result, int status,
                                      const QByteArray &words)
{
    QVERIFY2(result.status == status, "status " + QByteArray::number(result.status) + ": " + result.err);
    QVERIFY2(result.err.contains(words), result.err);
    const QStringList files = plait.files();
    for (const QString &file : files) {
        QVERIFY2(file.endsWith(u".part"_s), qPrintable(file));
    }
}

void TestPlaitFailures::aRefusedRequestHasItsStatusAndMessage_data()
{
    QTest::addColumn<Kind>("kind");
    QTest::addColumn<QString>("path");
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("words");
    QTest::newRow("401 from nginx") << Kind::Nginx << u"/status/401"_s << kAuthentication << QByteArray("401");
    QTest::newRow("403 from nginx") << Kind::Nginx << u"/status/403"_s << kBadResponse << QByteArray("403");
    QTest::newRow("404 from nginx") << Kind::Nginx << u"/missing.bin"_s << kNotFound << QByteArray("404");
    QTest::newRow("404 from lighttpd") << Kind::Lighttpd << u"/missing.bin"_s << kNotFound << QByteArray("404");
    QTest::newRow("416 from nginx") << Kind::Nginx << u"/status/416"_s << kBadResponse << QByteArray("416");
    QTest::newRow("500 from nginx") << Kind::Nginx << u"/status/500"_s << kBadResponse << QByteArray("500");
    QTest::newRow("503 from nginx") << Kind::Nginx << u"/status/503"_s << kServerOverloaded << QByteArray("503");
}

void TestPlaitFailures::aRefusedRequestHasItsStatusAndMessage()
{
    QFETCH(Kind, kind);
    QFETCH(QString, path);
    QFETCH(int, status);
    QFETCH(QByteArray, words);
    PlaitSandbox plait;
    const QString url = m_servers.server(kind).url(path).toString();
    const PlaitResult result = plait.run({u"--tries"_s, u"1"_s, url});
    verifyFailure(plait, result, status, words);
    QVERIFY2(result.err.contains('"' + url.toUtf8() + '"') || result.err.contains("\"127.0.0.1\""), result.err);
    QCOMPARE(plait.files(), QStringList());
}

void TestPlaitFailures::aRefusedPortIsANetworkProblem()
{
    PlaitSandbox plait;
    const QString url = u"http://127.0.0.1:%1/file.bin"_s.arg(ScriptedServer::refusedPort());
    verifyFailure(plait, plait.run({u"--tries"_s, u"1"_s, url}), kNetworkProblem, "refused");
}

void TestPlaitFailures::anUnknownHostIsANameProblem()
{
    PlaitSandbox plait;
    verifyFailure(plait, plait.run({u"--tries"_s, u"1"_s, u"http://nobody.invalid/file.bin"_s}), kNameResolution,
                  "\"nobody.invalid\"");
}

void TestPlaitFailures::theSixteenthRedirectFails_data()
{
    QTest::addColumn<Kind>("kind");
    QTest::addColumn<Scheme>("scheme");
    QTest::newRow("nginx, http") << Kind::Nginx << Scheme::Http;
    QTest::newRow("nginx, https") << Kind::Nginx << Scheme::Https;
    QTest::newRow("lighttpd, http") << Kind::Lighttpd << Scheme::Http;
    QTest::newRow("lighttpd, https") << Kind::Lighttpd << Scheme::Https;
}

void TestPlaitFailures::theSixteenthRedirectFails()
{
    QFETCH(Kind, kind);
    QFETCH(Scheme, scheme);
    PlaitSandbox plait;
    const QUrl url = m_servers.server(kind).url(u"/redirect/16/file.bin"_s, scheme);
    const PlaitResult result =
        plait.run({u"--tries"_s, u"1"_s, u"--ca-certificate"_s, m_servers.ca().caFile(), url.toString()});
    verifyFailure(plait, result, kTooManyRedirects, "from one address to the next");
}

void TestPlaitFailures::aRedirectToItselfFails()
{
    ScriptedServer server;
    server.setResponse("/loop", ScriptedResponse::redirect("/loop"));
    PlaitSandbox plait;
    verifyFailure(plait, plait.run({u"--tries"_s, u"1"_s, server.url(u"/loop"_s).toString()}), kTooManyRedirects,
                  "/loop");
    QCOMPARE(server.requests().size(), 16);
}

void TestPlaitFailures::anUntrustedCertificateIsRefused_data()
{
    QTest::addColumn<Kind>("kind");
    QTest::newRow("nginx") << Kind::Nginx;
    QTest::newRow("lighttpd") << Kind::Lighttpd;
}

void TestPlaitFailures::anUntrustedCertificateIsRefused()
{
    QFETCH(Kind, kind);
    PlaitSandbox plait;
    const PlaitResult result =
        plait.run({u"--tries"_s, u"1"_s, m_servers.server(kind).url(u"/file.bin"_s, Scheme::Https).toString()});
    verifyFailure(plait, result, kCertificateRefused, "--ca-certificate");
    QCOMPARE(plait.files(), QStringList());
}

void TestPlaitFailures::anUntrustedCertificateIsAcceptedWithInsecure_data()
{
    anUntrustedCertificateIsRefused_data();
}

void TestPlaitFailures::anUntrustedCertificateIsAcceptedWithInsecure()
{
    QFETCH(Kind, kind);
    PlaitSandbox plait;
    const QString url = m_servers.server(kind).url(u"/file.bin"_s, Scheme::Https).toString();
    const PlaitResult result = plait.run({u"--tries"_s, u"1"_s, u"--insecure"_s, url});
    QVERIFY2(result.status == kDone, result.err);
    QCOMPARE(TestFiles::sha256OfFile(plait.path(u"file.bin"_s)), TestFiles::sha256OfContent(kSeed, kSize));
}

void TestPlaitFailures::aCertificateOfAnotherNameIsRefused()
{
    TestCa ca;
    const QString stem = ca.issue(u"elsewhere"_s, u"DNS:elsewhere.invalid"_s, 5);
    QVERIFY2(!stem.isEmpty(), qPrintable(ca.errorText()));
    ScriptedServer server(TestCa::serverConfiguration(stem + u".pem"_s, stem + u".key"_s));
    server.setResponse("/file.bin", ScriptedResponse::file(kSeed, kSize));
    PlaitSandbox plait;
    const PlaitResult result =
        plait.run({u"--tries"_s, u"1"_s, u"--ca-certificate"_s, ca.caFile(), server.url(u"/file.bin"_s).toString()});
    verifyFailure(plait, result, kCertificateRefused, "certificate");
    QCOMPARE(server.requests().size(), 0);
}

void TestPlaitFailures::aBodyCutShortIsNoWholeFile_data()
{
    QTest::addColumn<ScriptedResponse::Framing>("framing");
    QTest::addColumn<ScriptedResponse::Cut>("cut");
    QTest::addColumn<qint64>("cutAfter");
    using Framing = ScriptedResponse::Framing;
    using Cut = ScriptedResponse::Cut;
    QTest::newRow("of a known length") << Framing::ContentLength << Cut::Orderly << qint64(150000);
    QTest::newRow("one byte before its end") << Framing::ContentLength << Cut::Orderly << kSize - 1;
    QTest::newRow("before its first byte") << Framing::ContentLength << Cut::Orderly << qint64(0);
    QTest::newRow("by a reset") << Framing::ContentLength << Cut::Reset << qint64(150000);
    QTest::newRow("chunked, before the last chunk") << Framing::Chunked << Cut::Orderly << kSize;
}

void TestPlaitFailures::aBodyCutShortIsNoWholeFile()
{
    QFETCH(ScriptedResponse::Framing, framing);
    QFETCH(ScriptedResponse::Cut, cut);
    QFETCH(qint64, cutAfter);
    ScriptedServer server;
    ScriptedResponse response = ScriptedResponse::ok(TestFiles::content(kSeed, 0, kSize));
    response.framing = framing;
    response.cut = cut;
    response.cutAfter = cutAfter;
    server.setResponse("/file.bin", response);
    PlaitSandbox plait;
    verifyFailure(plait, plait.run({u"--tries"_s, u"1"_s, server.url(u"/file.bin"_s).toString()}), kNetworkProblem,
                  "file.bin");
}

void TestPlaitFailures::anAnswerThatIsNoHttpLeavesNoFile_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("nothing at all") << QByteArray();
    QTest::newRow("random bytes") << TestFiles::content(1, 0, 3000);
    QTest::newRow("half a head") << QByteArray("HTTP/1.1 200 OK\r\nContent-Le");
}

void TestPlaitFailures::anAnswerThatIsNoHttpLeavesNoFile()
{
    QFETCH(QByteArray, bytes);
    ScriptedServer server;
    server.setResponse("/file.bin", bytes.isEmpty() ? ScriptedResponse::noAnswer() : ScriptedResponse::garbage(bytes));
    PlaitSandbox plait;
    const PlaitResult result = plait.run({u"--tries"_s, u"1"_s, server.url(u"/file.bin"_s).toString()});
    QVERIFY2(result.status == kNetworkProblem || result.status == kBadResponse, result.err);
    QVERIFY2(result.err.contains("cannot download"), result.err);
    QCOMPARE(plait.files(), QStringList());
}

void TestPlaitFailures::aWrongOptionIsSaidBeforeAnythingIsAsked_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::newRow("an option that does not exist") << QStringList{u"--no-such-option"_s};
    QTest::newRow("a header without a colon") << QStringList{u"--header"_s, u"nonsense"_s};
    QTest::newRow("a log level that is no number") << QStringList{u"--log-level"_s, u"loud"_s};
    QTest::newRow("a certificate file that is not there")
        << QStringList{u"--ca-certificate"_s, u"/nonexistent/ca.pem"_s};
}

void TestPlaitFailures::aWrongOptionIsSaidBeforeAnythingIsAsked()
{
    QFETCH(QStringList, options);
    ScriptedServer server;
    PlaitSandbox plait;
    const PlaitResult result = plait.run(options + QStringList(server.url(u"/file.bin"_s).toString()));
    verifyFailure(plait, result, kBadOption, options.constFirst().toUtf8());
    QCOMPARE(server.requests().size(), 0);
}

void TestPlaitFailures::anUnsupportedSchemeIsABadOption()
{
    PlaitSandbox plait;
    verifyFailure(plait, plait.run({u"--tries"_s, u"1"_s, u"gopher://127.0.0.1/file.bin"_s}), kBadOption,
                  "\"gopher://127.0.0.1/file.bin\"");
}

void TestPlaitFailures::aFolderThatCannotBeIsAFileProblem()
{
    PlaitSandbox plait;
    QVERIFY(TestFiles::writeFile(plait.path(u"taken"_s), 1, 1));
    const QString url = m_servers.nginx().url(u"/file.bin"_s).toString();
    const PlaitResult result = plait.runBare({url, u"-d"_s, plait.path(u"taken/folder"_s)});
    QVERIFY2(result.status == kCannotCreateFile, "status " + QByteArray::number(result.status) + ": " + result.err);
    QVERIFY2(result.err.contains("taken/folder"), result.err);
    QCOMPARE(plait.files(), QStringList(u"taken"_s));
}

QTEST_GUILESS_MAIN(TestPlaitFailures)
#include "tst_plait_failures.moc"
