// SPDX-License-Identifier: MIT
#include <tests/integration/plaitsandbox.h>
#include <tests/support/scriptedserver.h>
#include <tests/support/testfiles.h>

#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

#include <csignal>
#include <memory>

using namespace Qt::StringLiterals;

namespace
{
constexpr quint64 kSeed = 21;
constexpr qint64 kSize = 8000000;
constexpr qint64 kHeldAfter = 1000;

/// Every answer stops in its middle until it is released, so that what runs at once stays visible.
ScriptedResponse heldFile(qint64 size = kSize)
{
    ScriptedResponse response = ScriptedResponse::file(kSeed, size);
    response.holdAfter = kHeldAfter;
    return response;
}

QByteArray lastLine(const QByteArray &text)
{
    return text.trimmed().split('\n').constLast();
}
}

/// How many connections a run uses, and what it says about that.
class TestPlaitConnections : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void asManyConnectionsAreUsedAsTheLimitAllows_data();
    void asManyConnectionsAreUsedAsTheLimitAllows();
    void theLastLineSaysWhyThereWereNotMore_data();
    void theLastLineSaysWhyThereWereNotMore();
    void aServerThatRefusesAnotherConnectionIsNamed();
    void theJsonSummaryTellsTheSame();
};

void TestPlaitConnections::asManyConnectionsAreUsedAsTheLimitAllows_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<int>("connections");
    QTest::addColumn<QByteArray>("note");
    QTest::newRow("eight without a limit of one's own")
        << QStringList() << 8 << QByteArray("8 connections at most: limit of 8 reached");
    QTest::newRow("one") << QStringList{u"-x"_s, u"1"_s} << 1 << QByteArray("1 connection at most: limit of 1 reached");
    QTest::newRow("three") << QStringList{u"-x"_s, u"3"_s} << 3
                           << QByteArray("3 connections at most: limit of 3 reached");
    QTest::newRow("twenty") << QStringList{u"--max-connections"_s, u"20"_s} << 20
                            << QByteArray("20 connections at most: no download has more");
    QTest::newRow("two to a server") << QStringList{u"--max-connections-per-server"_s, u"2"_s} << 2
                                     << QByteArray("2 connections at most: limit of 2 per server reached");
}

void TestPlaitConnections::asManyConnectionsAreUsedAsTheLimitAllows()
{
    QFETCH(QStringList, options);
    QFETCH(int, connections);
    QFETCH(QByteArray, note);
    ScriptedServer server;
    server.setResponse("/file.bin", heldFile());
    PlaitSandbox plait;
    plait.start(options + QStringList{server.url(u"/file.bin"_s).toString()});
    QVERIFY2(server.waitForHeld(QString(), connections), plait.errorText());
    // With one connection, a second one learns whether ranges are honoured.
    QVERIFY2(server.peakConnections() <= qMax(connections, 2), QByteArray::number(server.peakConnections()));
    server.release();
    const PlaitResult result = plait.finish();
    QVERIFY2(result.status == 0, result.err);
    QVERIFY2(lastLine(result.err).endsWith(note), result.err);
    QCOMPARE(TestFiles::sha256OfFile(plait.path(u"file.bin"_s)), TestFiles::sha256OfContent(kSeed, kSize));
}

void TestPlaitConnections::theLastLineSaysWhyThereWereNotMore_data()
{
    QTest::addColumn<ScriptedResponse>("response");
    QTest::addColumn<QByteArray>("note");

    ScriptedResponse noRanges = ScriptedResponse::ok(TestFiles::content(kSeed, 0, kSize));
    noRanges.withHeader("Accept-Ranges", "none");
    QTest::newRow("no ranges") << noRanges << QByteArray("1 connection at most: the server does not honour ranges");
    ScriptedResponse chunked = ScriptedResponse::ok(TestFiles::content(kSeed, 0, kSize));
    chunked.framing = ScriptedResponse::Framing::Chunked;
    chunked.withHeader("Accept-Ranges", "bytes");
    QTest::newRow("no size") << chunked << QByteArray("1 connection at most: the server does not tell the file's size");
    QTest::newRow("a small file") << ScriptedResponse::file(kSeed, 307199)
                                  << QByteArray("1 connection at most: the file is too small to split further");
}

void TestPlaitConnections::theLastLineSaysWhyThereWereNotMore()
{
    QFETCH(ScriptedResponse, response);
    QFETCH(QByteArray, note);
    ScriptedServer server;
    server.setResponse("/file.bin", response);
    PlaitSandbox plait;
    // Without a limit all would be there before another connection could be thought of.
    const PlaitResult result = plait.run({u"--limit-rate"_s, u"6M"_s, server.url(u"/file.bin"_s).toString()});
    QVERIFY2(result.status == 0, result.err);
    QVERIFY2(lastLine(result.err).endsWith(note), result.err);
}

void TestPlaitConnections::aServerThatRefusesAnotherConnectionIsNamed()
{
    ScriptedServer server;
    const auto served = std::make_shared<int>(0);
    server.setHandler("/file.bin", [served](const ScriptedRequest &) {
        return ++*served <= 2 ? heldFile() : ScriptedResponse::error(503);
    });
    PlaitSandbox plait;
    const QString log = QDir(plait.dataHome()).filePath(u"log"_s);
    plait.start({u"--json"_s, u"--log"_s, log, server.url(u"/file.bin"_s).toString()});
    QVERIFY2(server.waitForHeld(QString(), 2), plait.errorText());
    QTRY_VERIFY_WITH_TIMEOUT(TestFiles::readFile(log).contains("|CODE|: 503"), PlaitSandbox::kPatienceMs);
    // Once they go on there may be room for another.
    plait.sendSignal(SIGTERM);
    const QJsonObject summary = QJsonDocument::fromJson(lastLine(plait.finish().out)).object();
    QCOMPARE(summary.value(u"connections"_s).toInt(), 2);
    QCOMPARE(summary.value(u"connections_bound"_s).toString(), u"refused"_s);

    server.setResponse("/file.bin", ScriptedResponse::file(kSeed, kSize));
    const PlaitResult result = plait.run({server.url(u"/file.bin"_s).toString()});
    QVERIFY2(result.status == 0, result.err);
    QCOMPARE(TestFiles::sha256OfFile(plait.path(u"file.bin"_s)), TestFiles::sha256OfContent(kSeed, kSize));
}

void TestPlaitConnections::theJsonSummaryTellsTheSame()
{
    ScriptedServer server;
    server.setResponse("/file.bin", heldFile());
    PlaitSandbox plait;
    plait.start({u"--json"_s, u"-x"_s, u"2"_s, server.url(u"/file.bin"_s).toString()});
    QVERIFY2(server.waitForHeld(QString(), 2), plait.errorText());
    server.release();
    const PlaitResult result = plait.finish();
    QVERIFY2(result.status == 0, result.err);
    const QJsonObject summary = QJsonDocument::fromJson(lastLine(result.out)).object();
    QCOMPARE(summary.value(u"connections"_s).toInt(), 2);
    QCOMPARE(summary.value(u"connections_bound"_s).toString(), u"limit"_s);
}

QTEST_GUILESS_MAIN(TestPlaitConnections)
#include "tst_plait_connections.moc"
