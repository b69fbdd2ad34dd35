// SPDX-License-Identifier: MIT
#include <tests/integration/partway.h>
#include <tests/integration/plaitsandbox.h>
#include <tests/support/scriptedserver.h>
#include <tests/support/testfiles.h>

#include <QTest>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{
constexpr int kDone = 0;
constexpr int kBadResponse = 22;
constexpr int kNetworkProblem = 6;

constexpr quint64 kSeed = 71;
constexpr qint64 kSize = 4000000;
constexpr qint64 kHalf = 2000000;
constexpr int kMostRequests = 20;

const QString kPath = QStringLiteral("/file.bin");
const QString kName = QStringLiteral("file.bin");

ScriptedResponse cutFile(qint64 size, qint64 cutAfter)
{
    ScriptedResponse response = ScriptedResponse::file(kSeed, size);
    response.cutAfter = cutAfter;
    return response;
}

/// The rest, of which nothing comes.
ScriptedResponse emptyRest(const ScriptedRequest &request, const QByteArray &framing)
{
    const qint64 start = PartWay::startOf(request);
    const QByteArray range =
        QByteArray::number(start) + '-' + QByteArray::number(kSize - 1) + '/' + QByteArray::number(kSize);
    return ScriptedResponse::garbage("HTTP/1.1 206 Partial Content\r\nContent-Range: bytes " + range + "\r\n"
                                     + framing);
}

/// One byte, and what it says of itself is true. The whole is cut off after it.
ScriptedResponse soundByte(const ScriptedRequest &request, qint64 size)
{
    const qint64 start = PartWay::startOf(request);
    if (!request.hasHeader("Range"))
        return cutFile(size, 1);
    const QByteArray place = QByteArray::number(start);
    return ScriptedResponse::garbage("HTTP/1.1 206 Partial Content\r\nContent-Range: bytes " + place + '-' + place + '/'
                                     + QByteArray::number(size) + "\r\nContent-Length: 1\r\n\r\n"
                                     + TestFiles::content(kSeed, start, 1));
}

void answerByteByByte(ScriptedServer &server, qint64 size)
{
    server.setHandler("/file.bin", [size](const ScriptedRequest &request) { return soundByte(request, size); });
}
}

/// Servers that bring nothing, or next to nothing, are asked politely, and not without end.
class TestPlaitStorms : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aServerThatBringsNothingMoreIsGivenUpSoon_data();
    void aServerThatBringsNothingMoreIsGivenUpSoon();
    void aServerThatCutsEachTransferIsFinishedInTheEnd_data();
    void aServerThatCutsEachTransferIsFinishedInTheEnd();
    void shortPartsThatAreSoundMakeTheFileInTheEnd();
    void shortPartsThatAreSoundAreAskedForNoFasterThanOthers();
    void anEmptyAnswerToAResumeIsNoFile();
    void manyEmptyFilesAreFiles();
};

void TestPlaitStorms::aServerThatBringsNothingMoreIsGivenUpSoon_data()
{
    QTest::addColumn<QByteArray>("framing");
    QTest::addColumn<QString>("tries");
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("sentence");
    const QByteArray noChunk = "Transfer-Encoding: chunked\r\n\r\n0\r\n\r\n";
    const QByteArray nothingNew = "The server answered with nothing new";
    QTest::newRow("no chunk") << noChunk << u"3"_s << kBadResponse << nothingNew;
    QTest::newRow("one try") << noChunk << u"1"_s << kBadResponse << nothingNew;
    QTest::newRow("cut before the first byte")
        << QByteArray("Content-Length: 2000000\r\n\r\n") << u"3"_s << kNetworkProblem << QByteArray("closed after 0");
    QTest::newRow("closed at once") << QByteArray("Connection: close\r\n\r\n") << u"3"_s << kNetworkProblem
                                    << QByteArray("closed after 0");
}

void TestPlaitStorms::aServerThatBringsNothingMoreIsGivenUpSoon()
{
    QFETCH(QByteArray, framing);
    QFETCH(QString, tries);
    QFETCH(int, status);
    QFETCH(QByteArray, sentence);
    ScriptedServer server;
    server.setHandler("/file.bin", [framing](const ScriptedRequest &request) {
        return request.hasHeader("Range") ? emptyRest(request, framing) : cutFile(kSize, kHalf);
    });
    PlaitSandbox plait;
    // The first answer brings half, so that what follows is a try in which nothing comes.
    plait.run({u"--tries"_s, u"1"_s, server.url(kPath).toString()});
    const qsizetype before = server.requests().size();
    QVERIFY2(before <= kMostRequests, QByteArray::number(before));
    const PlaitResult result =
        plait.run({u"-x"_s, u"8"_s, u"--tries"_s, tries, u"--retry-wait"_s, u"0.01"_s, server.url(kPath).toString()});
    QCOMPARE(result.status, status);
    QVERIFY2(result.err.contains(sentence), result.err);
    const qsizetype requests = server.requests().size() - before;
    QVERIFY2(requests >= tries.toInt() && requests <= kMostRequests, QByteArray::number(requests));
}

void TestPlaitStorms::aServerThatCutsEachTransferIsFinishedInTheEnd_data()
{
    QTest::addColumn<qint64>("size");
    QTest::addColumn<qint64>("cutAfter");
    QTest::newRow("a KiB each time") << qint64(40 * 1024) << qint64(1024);
    QTest::newRow("enough to go on without a rest, in several parts") << qint64(2 * 1024 * 1024) << qint64(40 * 1024);
}

void TestPlaitStorms::aServerThatCutsEachTransferIsFinishedInTheEnd()
{
    QFETCH(qint64, size);
    QFETCH(qint64, cutAfter);
    ScriptedServer server;
    server.setResponse("/file.bin", cutFile(size, cutAfter));
    PlaitSandbox plait;
    const PlaitResult result =
        plait.run({u"-x"_s, u"8"_s, u"--tries"_s, u"3"_s, u"--retry-wait"_s, u"0.01"_s, server.url(kPath).toString()});
    QVERIFY2(result.status == kDone, result.err);
    QCOMPARE(TestFiles::sha256OfFile(plait.path(kName)), TestFiles::sha256OfContent(kSeed, size));
    // Parts meet in the middle of an answer now and then; none is fetched twice.
    const qsizetype requests = server.requests().size();
    QVERIFY2(requests <= 2 * size / cutAfter, QByteArray::number(requests));
}

void TestPlaitStorms::shortPartsThatAreSoundMakeTheFileInTheEnd()
{
    constexpr qint64 kBytes = 24;
    ScriptedServer server;
    answerByteByByte(server, kBytes);
    PlaitSandbox plait;
    const PlaitResult result =
        plait.run({u"-x"_s, u"8"_s, u"--tries"_s, u"3"_s, u"--retry-wait"_s, u"0.01"_s, server.url(kPath).toString()});
    QVERIFY2(result.status == kDone, result.err);
    QCOMPARE(TestFiles::sha256OfFile(plait.path(kName)), TestFiles::sha256OfContent(kSeed, kBytes));
    const qsizetype requests = server.requests().size();
    QVERIFY2(requests <= 2 * kBytes, QByteArray::number(requests));
}

/// One program asks both, so that its own pace is all there is to compare.
void TestPlaitStorms::shortPartsThatAreSoundAreAskedForNoFasterThanOthers()
{
    constexpr int kOthers = 24;
    constexpr qint64 kBytes = 3000;
    ScriptedServer parts;
    answerByteByByte(parts, kBytes);
    ScriptedServer cut;
    cut.setResponse("/other.bin", cutFile(kSize, 1024));
    PlaitSandbox plait;
    plait.start({u"-x"_s, u"8"_s, parts.url(kPath).toString(), cut.url(u"/other.bin"_s).toString()});
    QVERIFY2(cut.waitForRequests(kOthers), plait.errorText());
    const qsizetype requests = parts.requests().size();
    QVERIFY2(requests > 0 && requests <= 3 * kOthers, QByteArray::number(requests));
}

void TestPlaitStorms::anEmptyAnswerToAResumeIsNoFile()
{
    ScriptedServer server;
    ScriptedResponse half = cutFile(kSize, kHalf);
    half.leaveOut = {"ETag", "Last-Modified"};
    server.setResponses("/file.bin", {half, ScriptedResponse::ok({})});
    PlaitSandbox plait;
    const PlaitResult result = plait.run({u"--tries"_s, u"2"_s, u"--retry-wait"_s, u"0.01"_s, u"--on-unresumable"_s,
                                          u"fail"_s, u"--on-changed"_s, u"fail"_s, server.url(kPath).toString()});
    QVERIFY2(result.status != kDone, result.err);
    QVERIFY2(!plait.has(kName), result.err);
    QVERIFY2(server.requests().size() <= kMostRequests, QByteArray::number(server.requests().size()));
}

void TestPlaitStorms::manyEmptyFilesAreFiles()
{
    constexpr int kFiles = 30;
    ScriptedServer server;
    server.setFallback([](const ScriptedRequest &) { return ScriptedResponse::ok({}); });
    PlaitSandbox plait;
    QStringList arguments{u"--tries"_s, u"1"_s};
    for (int i = 0; i < kFiles; ++i) {
        arguments.append(server.url(u"/%1.bin"_s.arg(i)).toString());
    }
    const PlaitResult result = plait.run(arguments);
    QVERIFY2(result.status == kDone, result.err);
    QCOMPARE(plait.files().size(), kFiles);
    QCOMPARE(server.requests().size(), kFiles);
}

QTEST_GUILESS_MAIN(TestPlaitStorms)
#include "tst_plait_storms.moc"
