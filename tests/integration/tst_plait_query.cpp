// SPDX-License-Identifier: MIT
#include <tests/integration/plaitsandbox.h>
#include <tests/integration/realservers.h>
#include <tests/support/scriptedserver.h>
#include <tests/support/testfiles.h>

#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

using namespace Qt::StringLiterals;

namespace
{
using Kind = RealServers::Kind;

constexpr quint64 kSeed = 14;
constexpr qint64 kSize = 3000000;

// Of the objects that stand one to a line, the first that tells of this event.
QJsonObject eventOf(const QByteArray &out, const QString &event)
{
    const QList<QByteArray> lines = out.split('\n');
    for (const QByteArray &line : lines) {
        const QJsonObject object = QJsonDocument::fromJson(line).object();
        if (object.value(u"event"_s).toString() == event) {
            return object;
        }
    }
    return {};
}
}

/// What a URL holds is told without fetching it, and requests carry what the command line says.
class TestPlaitQuery : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void aQueryTellsWhatIsThere_data();
    void aQueryTellsWhatIsThere();
    void aQueryTellsThatResumingIsNotSupported();
    void aQueryTellsTheSameAsJson();
    void aQueryNeedsTheHeadOnly();
    void aQueryOfAMissingFileFails();
    void aQueryFollowsRedirectsAndTellsWhereTheyEnd();
    void requestsCarryTheHeadersOfTheCommandLine();
    void requestsAskForNoEncoding();
    void postDataMakesAPost();
    void aLogIsWrittenWhereAsked();

private:
    RealServers m_servers;
};

void TestPlaitQuery::initTestCase()
{
    QVERIFY2(m_servers.start(), qPrintable(m_servers.errorText()));
    QVERIFY(m_servers.addFile(u"file.zip"_s, kSeed, kSize));
}

void TestPlaitQuery::aQueryTellsWhatIsThere_data()
{
    QTest::addColumn<Kind>("kind");
    QTest::addColumn<RealServer::Scheme>("scheme");
    QTest::newRow("nginx, http") << Kind::Nginx << RealServer::Scheme::Http;
    QTest::newRow("nginx, https") << Kind::Nginx << RealServer::Scheme::Https;
    QTest::newRow("lighttpd, http") << Kind::Lighttpd << RealServer::Scheme::Http;
    QTest::newRow("lighttpd, https") << Kind::Lighttpd << RealServer::Scheme::Https;
}

void TestPlaitQuery::aQueryTellsWhatIsThere()
{
    QFETCH(Kind, kind);
    QFETCH(RealServer::Scheme, scheme);
    RealServer &server = m_servers.server(kind);
    PlaitSandbox plait;
    const PlaitResult result = plait.run({u"--ca-certificate"_s, m_servers.ca().caFile(), u"--query"_s,
                                          server.url(u"/redirect/1/file.zip"_s, scheme).toString()});
    QVERIFY2(result.status == 0, result.err);
    QVERIFY2(result.out.contains("file.zip"), result.out);
    QVERIFY2(result.out.contains(QByteArray::number(kSize)), result.out);
    QVERIFY2(result.out.contains("application/zip"), result.out);
    QVERIFY2(result.out.contains(server.url(u"/file.zip"_s, scheme).toEncoded()), result.out);
    QCOMPARE(plait.files(), QStringList());
}

void TestPlaitQuery::aQueryTellsThatResumingIsNotSupported()
{
    ScriptedServer server;
    ScriptedResponse refusing = ScriptedResponse::file(kSeed, kSize);
    refusing.honoursRanges = false;
    refusing.withHeader("Accept-Ranges", "none");
    server.setResponse("/file.bin", refusing);
    PlaitSandbox plait;
    const QByteArray without = plait.run({u"--query"_s, server.url(u"/file.bin"_s).toString()}).out;
    server.setResponse("/file.bin", ScriptedResponse::file(kSeed, kSize));
    const QByteArray with = plait.run({u"--query"_s, server.url(u"/file.bin"_s).toString()}).out;
    QVERIFY(!without.isEmpty());
    QVERIFY(!with.isEmpty());
    QVERIFY2(with != without, with);
}

void TestPlaitQuery::aQueryTellsTheSameAsJson()
{
    PlaitSandbox plait;
    const QUrl url = m_servers.nginx().url(u"/redirect/1/file.zip"_s);
    const PlaitResult result = plait.run({u"--query"_s, u"--json"_s, url.toString()});
    QVERIFY2(result.status == 0, result.err);
    const QJsonObject object = eventOf(result.out, u"query"_s);
    QVERIFY2(!object.isEmpty(), result.out);
    QCOMPARE(object.value(u"name"_s).toString(), u"file.zip"_s);
    QCOMPARE(object.value(u"size"_s).toInteger(), kSize);
    QCOMPARE(object.value(u"type"_s).toString(), u"application/zip"_s);
    QCOMPARE(object.value(u"url"_s).toString(), m_servers.nginx().url(u"/file.zip"_s).toString());
    QVERIFY2(!object.value(u"resume"_s).toString().isEmpty(), result.out);
}

void TestPlaitQuery::aQueryNeedsTheHeadOnly()
{
    ScriptedServer server;
    ScriptedResponse response = ScriptedResponse::file(kSeed, kSize);
    response.holdAfter = 0;
    server.setResponse("/file.bin", response);
    PlaitSandbox plait;
    const PlaitResult result = plait.run({u"--query"_s, server.url(u"/file.bin"_s).toString()});
    QVERIFY2(result.status == 0, result.err);
    QVERIFY2(result.out.contains(QByteArray::number(kSize)), result.out);
    QCOMPARE(plait.files(), QStringList());
}

void TestPlaitQuery::aQueryOfAMissingFileFails()
{
    PlaitSandbox plait;
    const PlaitResult result = plait.run({u"--query"_s, m_servers.nginx().url(u"/missing.bin"_s).toString()});
    QCOMPARE(result.status, 3);
    QVERIFY2(result.err.contains("404"), result.err);
}

void TestPlaitQuery::aQueryFollowsRedirectsAndTellsWhereTheyEnd()
{
    ScriptedServer end;
    end.setResponse("/at/last.iso", ScriptedResponse::file(kSeed, kSize));
    ScriptedServer start;
    start.addRedirectChain("/go", 3, end.url(u"/at/last.iso"_s).toEncoded());
    PlaitSandbox plait;
    const PlaitResult result = plait.run({u"--query"_s, start.url(u"/go/3"_s).toString()});
    QVERIFY2(result.status == 0, result.err);
    QVERIFY2(result.out.contains(end.url(u"/at/last.iso"_s).toEncoded()), result.out);
    QVERIFY2(result.out.contains("last.iso"), result.out);
}

void TestPlaitQuery::requestsCarryTheHeadersOfTheCommandLine()
{
    ScriptedServer server;
    server.setResponse("/file.bin", ScriptedResponse::file(kSeed, 10));
    PlaitSandbox plait;
    const PlaitResult result = plait.run({u"--header"_s, u"X-One: first value"_s, u"--header"_s, u"X-Two: 2"_s,
                                          u"--referer"_s, u"http://example.invalid/page"_s, u"--user-agent"_s,
                                          u"tester/1.0"_s, server.url(u"/file.bin"_s).toString()});
    QVERIFY2(result.status == 0, result.err);
    const ScriptedRequest request = server.requests().constFirst();
    QCOMPARE(request.method, QByteArray("GET"));
    QCOMPARE(request.header("X-One"), QByteArray("first value"));
    QCOMPARE(request.header("X-Two"), QByteArray("2"));
    QCOMPARE(request.header("Referer"), QByteArray("http://example.invalid/page"));
    QCOMPARE(request.header("User-Agent"), QByteArray("tester/1.0"));
}

void TestPlaitQuery::requestsAskForNoEncoding()
{
    ScriptedServer server;
    server.setResponse("/file.bin", ScriptedResponse::file(kSeed, 10));
    PlaitSandbox plait;
    QCOMPARE(plait.run({server.url(u"/file.bin"_s).toString()}).status, 0);
    QCOMPARE(server.requests().constFirst().header("Accept-Encoding"), QByteArray("identity"));
}

void TestPlaitQuery::postDataMakesAPost()
{
    ScriptedServer server;
    server.setResponse("/report", ScriptedResponse::ok("the answer"));
    PlaitSandbox plait;
    const PlaitResult result =
        plait.run({u"--post-data"_s, u"a=1&b=2"_s, server.url(u"/report"_s).toString(), u"-o"_s, u"answer.txt"_s});
    QVERIFY2(result.status == 0, result.err);
    const ScriptedRequest request = server.requests().constFirst();
    QCOMPARE(request.method, QByteArray("POST"));
    QCOMPARE(request.body, QByteArray("a=1&b=2"));
    QCOMPARE(TestFiles::readFile(plait.path(u"answer.txt"_s)), QByteArray("the answer"));
}

void TestPlaitQuery::aLogIsWrittenWhereAsked()
{
    ScriptedServer server;
    server.setResponse("/file.bin", ScriptedResponse::file(kSeed, 10));
    PlaitSandbox plait;
    const QString log = plait.dataHome() + u"/run.log"_s;
    const PlaitResult result =
        plait.run({u"--log"_s, log, u"--log-level"_s, u"4"_s, server.url(u"/file.bin"_s).toString()});
    QVERIFY2(result.status == 0, result.err);
    const QByteArray text = TestFiles::readFile(log);
    QVERIFY2(text.contains("starting..."), text);
    QVERIFY2(text.contains("finished"), text);
}

QTEST_GUILESS_MAIN(TestPlaitQuery)
#include "tst_plait_query.moc"
