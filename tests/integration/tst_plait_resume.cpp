// SPDX-License-Identifier: MIT
#include <tests/integration/plaitsandbox.h>
#include <tests/integration/realservers.h>
#include <tests/support/scriptedserver.h>
#include <tests/support/testfiles.h>

#include <QFile>
#include <QProcess>
#include <QTest>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <numeric>

using namespace Qt::StringLiterals;

namespace
{
using Kind = RealServers::Kind;

constexpr int kUnfinished = 7;
constexpr int kCannotResume = 8;
constexpr int kResourceChanged = 33;

constexpr quint64 kSeed = 15;
constexpr qint64 kSmallSize = 300000; // too small to be split
constexpr qint64 kLargeSize = 4194304;
constexpr qint64 kWord = 16;

const QString kName = QStringLiteral("file.bin");

using Pieces = QList<PlaitSandbox::Piece>;

// How many bytes from the start lie on disk.
qint64 prefixOnDisk(const QString &path)
{
    const QByteArray bytes = TestFiles::readFile(path);
    const QByteArray content = TestFiles::content(kSeed, 0, bytes.size());
    return std::mismatch(bytes.begin(), bytes.end(), content.begin()).first - bytes.begin();
}

qint64 sumOf(const Pieces &pieces)
{
    return std::accumulate(pieces.begin(), pieces.end(), qint64(0),
                           [](qint64 sum, const PlaitSandbox::Piece &piece) { return sum + piece.size; });
}

qint64 sumOf(const QList<RealServer::LogEntry> &entries)
{
    return std::accumulate(entries.begin(), entries.end(), qint64(0),
                           [](qint64 sum, const RealServer::LogEntry &entry) { return sum + entry.bytes; });
}

bool isIn(const Pieces &pieces, qint64 offset)
{
    return std::any_of(pieces.begin(), pieces.end(), [=](const PlaitSandbox::Piece &piece) {
        return offset >= piece.offset && offset < piece.offset + piece.size;
    });
}

// Each piece that the list calls downloaded has its bytes on disk.
bool areOnDisk(const Pieces &pieces, const QString &path)
{
    const QByteArray bytes = TestFiles::readFile(path);
    return std::all_of(pieces.begin(), pieces.end(), [&](const PlaitSandbox::Piece &piece) {
        return bytes.mid(piece.offset, piece.size) == TestFiles::content(kSeed, piece.offset, piece.size);
    });
}

// The first byte that a request asks for.
qint64 startOf(const QByteArray &range)
{
    return range.startsWith("bytes=") ? range.mid(6).split('-').constFirst().toLongLong() : 0;
}

// A file that comes slowly and stops in its middle, until `hurry` is set: then at once and whole.
ScriptedServer::Handler slowUntil(const std::atomic_bool &hurry, qint64 size)
{
    return [&hurry, size](const ScriptedRequest &) {
        ScriptedResponse response = ScriptedResponse::file(kSeed, size);
        if (!hurry) {
            response.bytesPerSecond = 60000;
            response.holdAfter = 150000;
        }
        return response;
    };
}
}

/// A download that was stopped goes on with what is missing, however it was stopped.
class TestPlaitResume : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void aStoppedDownloadAsksForTheMissingBytesOnly_data();
    void aStoppedDownloadAsksForTheMissingBytesOnly();
    void aStoppedDownloadOfSeveralSectionsAsksForNothingTwice_data();
    void aStoppedDownloadOfSeveralSectionsAsksForNothingTwice();
    void aKilledDownloadGoesOnWhereItsListLeftIt();
    void aServerThatDiedIsAskedForTheRest();
    void aChangedResourceIsNotMixedWithTheOldOne_data();
    void aChangedResourceIsNotMixedWithTheOldOne();
    void aServerThatNoLongerTakesRangesIsSaid();
    void aRemovedPartIsFetchedAnew();
    void aFinishedFileThatWasDeletedIsFetchedAgain();
    void aFinishedFileThatWasChangedStaysAndIsSaid();
    void whatWasBegunIsNotOverwrittenByAnotherOfItsName_data();
    void whatWasBegunIsNotOverwrittenByAnotherOfItsName();

private:
    // Runs until something is on disk, stops it, and leaves it so.
    void runIntoTheMiddle(PlaitSandbox &plait, const QUrl &url, int signal);
    static void verifyWhole(PlaitSandbox &plait, qint64 size);

    RealServers m_servers;
};

void TestPlaitResume::initTestCase()
{
    QVERIFY2(m_servers.start(), qPrintable(m_servers.errorText()));
    QVERIFY(m_servers.addFile(kName, kSeed, kLargeSize));
}

void TestPlaitResume::runIntoTheMiddle(PlaitSandbox &plait, const QUrl &url, int signal)
{
    plait.start({url.toString()});
    const QByteArray beginning = TestFiles::content(kSeed, 0, kWord);
    const bool begun = QTest::qWaitFor([&] { return !plait.isRunning() || plait.partBeginsWith(kName, beginning); },
                                       PlaitSandbox::kPatienceMs);
    QVERIFY2(begun && plait.isRunning(), plait.errorText());
    plait.sendSignal(signal);
    const PlaitResult result = plait.finish();
    QVERIFY2(result.status == kUnfinished, "status " + QByteArray::number(result.status) + ": " + result.err);
    QVERIFY2(result.err.contains("resume"), result.err);
    QCOMPARE(plait.files(), QStringList(kName + u".part"_s));
}

void TestPlaitResume::verifyWhole(PlaitSandbox &plait, qint64 size)
{
    QCOMPARE(plait.files(), QStringList(kName));
    QCOMPARE(TestFiles::sha256OfFile(plait.path(kName)), TestFiles::sha256OfContent(kSeed, size));
}

void TestPlaitResume::aStoppedDownloadAsksForTheMissingBytesOnly_data()
{
    QTest::addColumn<int>("signal");
    QTest::newRow("stopped by SIGTERM") << SIGTERM;
    QTest::newRow("stopped by Ctrl-C") << SIGINT;
}

void TestPlaitResume::aStoppedDownloadAsksForTheMissingBytesOnly()
{
    QFETCH(int, signal);
    ScriptedServer server;
    std::atomic_bool hurry = false;
    server.setHandler("/file.bin", slowUntil(hurry, kSmallSize));
    PlaitSandbox plait;
    const QUrl url = server.url(u"/file.bin"_s);
    runIntoTheMiddle(plait, url, signal);
    if (QTest::currentTestFailed()) {
        return;
    }
    const qint64 done = prefixOnDisk(plait.path(kName + u".part"_s));
    QVERIFY(done > 0 && done < kSmallSize);
    const qsizetype before = server.requests().size();

    hurry = true;
    const PlaitResult result = plait.run({url.toString()});
    QVERIFY2(result.status == 0, result.err);
    verifyWhole(plait, kSmallSize);
    const QList<ScriptedRequest> requests = server.requests().mid(before);
    QCOMPARE(requests.size(), 1);
    QCOMPARE(startOf(requests.constFirst().header("Range")), done);
    QCOMPARE(server.bodyBytesSent(requests.constFirst().order), kSmallSize - done);
}

void TestPlaitResume::aStoppedDownloadOfSeveralSectionsAsksForNothingTwice_data()
{
    QTest::addColumn<Kind>("kind");
    QTest::addColumn<QString>("path");
    QTest::newRow("nginx") << Kind::Nginx << u"/rate/200k/file.bin"_s;
    QTest::newRow("lighttpd") << Kind::Lighttpd << u"/rate/file.bin"_s;
}

void TestPlaitResume::aStoppedDownloadOfSeveralSectionsAsksForNothingTwice()
{
    QFETCH(Kind, kind);
    QFETCH(QString, path);
    RealServer &server = m_servers.server(kind);
    PlaitSandbox plait;
    runIntoTheMiddle(plait, server.url(path), SIGTERM);
    if (QTest::currentTestFailed()) {
        return;
    }
    const Pieces pieces = plait.listedPieces();
    QVERIFY(sumOf(pieces) > 0 && sumOf(pieces) < kLargeSize);
    QVERIFY2(areOnDisk(pieces, plait.path(kName + u".part"_s)), "the list says more than is on disk");

    const PlaitResult result = plait.run({u"--user-agent"_s, u"second"_s, server.url(path).toString()});
    QVERIFY2(result.status == 0, result.err);
    verifyWhole(plait, kLargeSize);
    QTRY_VERIFY_WITH_TIMEOUT(sumOf(server.logEntriesOf("second")) >= kLargeSize - sumOf(pieces),
                             RealServer::kPatienceMs);
    const QList<RealServer::LogEntry> entries = server.logEntriesOf("second");
    for (const RealServer::LogEntry &entry : entries) {
        QCOMPARE(entry.status, 206);
        QVERIFY2(!isIn(pieces, startOf(entry.range)), entry.range);
    }
}

void TestPlaitResume::aKilledDownloadGoesOnWhereItsListLeftIt()
{
    ScriptedServer server;
    std::atomic_bool hurry = false;
    server.setHandler("/file.bin", slowUntil(hurry, kLargeSize));
    PlaitSandbox plait;
    const QUrl url = server.url(u"/file.bin"_s);
    plait.start({url.toString()});
    QVERIFY2(QTest::qWaitFor([&] { return !plait.isRunning() || !plait.listedPieces().isEmpty(); },
                             PlaitSandbox::kPatienceMs)
                 && plait.isRunning(),
             plait.errorText());
    plait.kill();
    QCOMPARE(plait.finish().status, -1);
    const Pieces pieces = plait.listedPieces();
    QVERIFY(!pieces.isEmpty());
    QVERIFY2(areOnDisk(pieces, plait.path(kName + u".part"_s)), "the list says more than is on disk");
    const qsizetype before = server.requests().size();

    hurry = true;
    const PlaitResult result = plait.run({url.toString()});
    QVERIFY2(result.status == 0, result.err);
    verifyWhole(plait, kLargeSize);
    const QList<ScriptedRequest> requests = server.requests().mid(before);
    QVERIFY(!requests.isEmpty());
    for (const ScriptedRequest &request : requests) {
        QVERIFY2(!isIn(pieces, startOf(request.header("Range"))), request.header("Range"));
    }
}

void TestPlaitResume::aServerThatDiedIsAskedForTheRest()
{
    ScriptedServer server;
    std::atomic_bool hurry = false;
    server.setHandler("/file.bin", slowUntil(hurry, kSmallSize));
    PlaitSandbox plait;
    plait.start({server.url(u"/file.bin"_s).toString()});
    QVERIFY2(QTest::qWaitFor(
                 [&] { return !plait.isRunning() || plait.partBeginsWith(kName, TestFiles::content(kSeed, 0, kWord)); },
                 PlaitSandbox::kPatienceMs)
                 && plait.isRunning(),
             plait.errorText());
    hurry = true;
    server.dropConnections();
    PlaitResult result = plait.finish();
    if (result.status != 0) {
        result = plait.run({server.url(u"/file.bin"_s).toString()});
    }
    QVERIFY2(result.status == 0, result.err);
    verifyWhole(plait, kSmallSize);
    QVERIFY(startOf(server.requests().constLast().header("Range")) > 0);
}

void TestPlaitResume::aChangedResourceIsNotMixedWithTheOldOne_data()
{
    QTest::addColumn<ScriptedResponse>("changed");
    ScriptedResponse response = ScriptedResponse::file(kSeed + 1, kSmallSize);
    QTest::newRow("another ETag") << response;
    QTest::newRow("another size") << ScriptedResponse::file(kSeed, kSmallSize + 1000);
    response = ScriptedResponse::file(kSeed, kSmallSize);
    response.headers = {{"Last-Modified", "Thu, 02 Jan 2020 00:00:00 GMT"}};
    QTest::newRow("another date, and no ETag") << response;
}

void TestPlaitResume::aChangedResourceIsNotMixedWithTheOldOne()
{
    QFETCH(ScriptedResponse, changed);
    ScriptedServer server;
    std::atomic_bool hurry = false;
    server.setHandler("/file.bin", slowUntil(hurry, kSmallSize));
    PlaitSandbox plait;
    const QUrl url = server.url(u"/file.bin"_s);
    runIntoTheMiddle(plait, url, SIGTERM);
    if (QTest::currentTestFailed()) {
        return;
    }
    const QByteArray before = TestFiles::sha256OfFile(plait.path(kName + u".part"_s));
    server.setResponse("/file.bin", changed);
    const PlaitResult result = plait.run({url.toString()});
    QVERIFY2(result.status == kResourceChanged, "status " + QByteArray::number(result.status) + ": " + result.err);
    QVERIFY2(result.err.contains("no longer has the same file"), result.err);
    QCOMPARE(plait.files(), QStringList(kName + u".part"_s));
    QCOMPARE(TestFiles::sha256OfFile(plait.path(kName + u".part"_s)), before);
}

void TestPlaitResume::aServerThatNoLongerTakesRangesIsSaid()
{
    ScriptedServer server;
    std::atomic_bool hurry = false;
    server.setHandler("/file.bin", slowUntil(hurry, kSmallSize));
    PlaitSandbox plait;
    const QUrl url = server.url(u"/file.bin"_s);
    runIntoTheMiddle(plait, url, SIGTERM);
    if (QTest::currentTestFailed()) {
        return;
    }
    ScriptedResponse whole = ScriptedResponse::file(kSeed, kSmallSize);
    whole.honoursRanges = false;
    server.setResponse("/file.bin", whole);
    const PlaitResult result = plait.run({url.toString()});
    QVERIFY2(result.status == kCannotResume, "status " + QByteArray::number(result.status) + ": " + result.err);
    QVERIFY2(result.err.contains("cannot resume"), result.err);
    QCOMPARE(plait.files(), QStringList(kName + u".part"_s));
}

void TestPlaitResume::aRemovedPartIsFetchedAnew()
{
    ScriptedServer server;
    std::atomic_bool hurry = false;
    server.setHandler("/file.bin", slowUntil(hurry, kSmallSize));
    PlaitSandbox plait;
    const QUrl url = server.url(u"/file.bin"_s);
    runIntoTheMiddle(plait, url, SIGTERM);
    if (QTest::currentTestFailed()) {
        return;
    }
    QVERIFY(QFile::remove(plait.path(kName + u".part"_s)));
    hurry = true;
    const PlaitResult result = plait.run({url.toString()});
    QVERIFY2(result.status == 0, result.err);
    verifyWhole(plait, kSmallSize);
}

void TestPlaitResume::aFinishedFileThatWasDeletedIsFetchedAgain()
{
    ScriptedServer server;
    server.setHandler("/file.bin", [](const ScriptedRequest &) { return ScriptedResponse::file(kSeed, kSmallSize); });
    PlaitSandbox plait;
    QCOMPARE(plait.run({server.url(u"/file.bin"_s).toString()}).status, 0);
    QVERIFY(QFile::remove(plait.path(kName)));
    const PlaitResult result = plait.runBare({u"resume"_s, u"1"_s});
    QVERIFY2(result.status == 0, result.err);
    verifyWhole(plait, kSmallSize);
}

void TestPlaitResume::aFinishedFileThatWasChangedStaysAndIsSaid()
{
    ScriptedServer server;
    server.setHandler("/file.bin", [](const ScriptedRequest &) { return ScriptedResponse::file(kSeed, kSmallSize); });
    PlaitSandbox plait;
    QCOMPARE(plait.run({server.url(u"/file.bin"_s).toString()}).status, 0);
    QFile file(plait.path(kName));
    QVERIFY(file.open(QIODevice::Append) && file.write("more") == 4);
    file.close();
    const PlaitResult result = plait.runBare({u"resume"_s, u"1"_s});
    QVERIFY2(result.status != 0 && result.err.contains("length") && result.err.contains("\"plait restart 1\""),
             result.err);
    QCOMPARE(QFileInfo(file).size(), kSmallSize + 4);
}

void TestPlaitResume::whatWasBegunIsNotOverwrittenByAnotherOfItsName_data()
{
    QTest::addColumn<bool>("isLeft");
    QTest::newRow("once it was left") << true;
    QTest::newRow("while another process fetches it") << false;
}

/// To overwrite was said of a file that is there, and not of what another download has of one.
void TestPlaitResume::whatWasBegunIsNotOverwrittenByAnotherOfItsName()
{
    QFETCH(bool, isLeft);
    ScriptedServer server;
    std::atomic_bool hurry = false;
    server.setHandler("/first/file.bin", slowUntil(hurry, kSmallSize));
    server.setResponse("/second/file.bin", ScriptedResponse::file(kSeed + 1, kSmallSize));
    PlaitSandbox first;
    const QString url = server.url(u"/first/file.bin"_s).toString();
    first.start({url});
    QTRY_VERIFY_WITH_TIMEOUT(first.partBeginsWith(kName, TestFiles::content(kSeed, 0, kWord)),
                             PlaitSandbox::kPatienceMs);
    if (isLeft) {
        first.sendSignal(SIGTERM);
        QCOMPARE(first.finish().status, kUnfinished);
    }
    QProcess second;
    second.setProcessEnvironment(first.environment());
    second.start(
        PlaitSandbox::program(),
        {u"-d"_s, first.downloads(), u"--on-exists"_s, u"overwrite"_s, server.url(u"/second/file.bin"_s).toString()});
    QVERIFY(second.waitForFinished(PlaitSandbox::kPatienceMs));
    QVERIFY2(second.exitCode() == 0, second.readAllStandardError());
    QCOMPARE(TestFiles::readFile(first.path(u"file (1).bin"_s)), TestFiles::content(kSeed + 1, 0, kSmallSize));
    hurry = true;
    server.dropConnections();
    const PlaitResult result = isLeft ? first.run({url}) : first.finish();
    QVERIFY2(result.status == 0, result.err);
    QCOMPARE(TestFiles::readFile(first.path(kName)), TestFiles::content(kSeed, 0, kSmallSize));
    QCOMPARE(first.files(), (QStringList{u"file (1).bin"_s, kName}));
}

QTEST_GUILESS_MAIN(TestPlaitResume)
#include "tst_plait_resume.moc"
