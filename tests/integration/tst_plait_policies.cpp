// SPDX-License-Identifier: MIT
#include <tests/integration/partway.h>
#include <tests/integration/plaitsandbox.h>
#include <tests/support/scriptedserver.h>
#include <tests/support/smalldisk.h>
#include <tests/support/testfiles.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTest>

#include <algorithm>
#include <atomic>
#include <csignal>

using namespace Qt::StringLiterals;

namespace
{
using Framing = ScriptedResponse::Framing;

constexpr int kDone = 0;
constexpr int kNetworkProblem = 6;
constexpr int kUnfinished = 7;
constexpr int kCannotResume = 8;
constexpr int kDiskFull = 9;
constexpr int kFileExists = 13;
constexpr int kChecksumMismatch = 32;
constexpr int kResourceChanged = 33;

constexpr quint64 kSeed = 41;
constexpr quint64 kOtherSeed = 42;
constexpr qint64 kSize = 300000; // too small to be split
constexpr qint64 kHalf = 150000;
constexpr qint64 kLargeSize = 4194304;

const QString kName = QStringLiteral("file.bin");
const QString kPart = QStringLiteral("file.bin.part");
const QString kPath = QStringLiteral("/file.bin");
const QByteArray kOld = QByteArrayLiteral("an older file");

QByteArray statusText(const PlaitResult &result)
{
    return "status " + QByteArray::number(result.status) + ": " + result.err;
}

ScriptedResponse wholeFile(quint64 seed = kSeed, qint64 size = kSize)
{
    return ScriptedResponse::file(seed, size);
}

bool writeText(const QString &path, const QByteArray &text)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(text) == text.size();
}

QStringList checksumOf(quint64 seed)
{
    return {u"--checksum"_s, u"sha-256="_s + QString::fromLatin1(TestFiles::sha256OfContent(seed, kSize))};
}
}

/// What is to be done when something is in the way is done as it was asked for, and nothing is lost unasked.
class TestPlaitPolicies : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aServerWithoutRangesEndsTheDownloadAndKeepsIt();
    void aServerWithoutRangesIsAskedForAllOfItWithRestart();
    void aCompleteFileOfUnknownSizeEndsTheDownloadAndIsKept();
    void aCompleteFileOfUnknownSizeIsFetchedAnewWithRestart();
    void aCompleteFileOfUnknownSizeCanBeFinished();
    void whatCameOfAFileOfUnknownSizeIsKept();
    void aChangedFileEndsTheDownloadAndKeepsIt_data();
    void aChangedFileEndsTheDownloadAndKeepsIt();
    void aChangedFileIsFetchedAnewWithRestart_data();
    void aChangedFileIsFetchedAnewWithRestart();
    void aResumeCanChangeWhatIsToBeDone();
    void aServerThatChangesItsFileEachTimeIsLeftAlone();
    void aFileInTheWayIsTreatedAsAskedFor_data();
    void aFileInTheWayIsTreatedAsAskedFor();
    void aNameThatIsTakenIsSkippedUnasked();
    void aFileInTheWayOfOneThatComesAsAskedForLaterOn();
    void aFileThatDoesNotFitIsNotTaken_data();
    void aFileThatDoesNotFitIsNotTaken();
    void aFileThatDidNotFitGoesOnWhenThereIsRoom();
    void aFileWithAnotherChecksumStays();
    void aFileWithAnotherChecksumIsComparedAgain();
    void aFileWithItsChecksumIsDone();

private:
    /// A download of which a half is on disk.
    static void leaveHalf(ScriptedServer &server, PlaitSandbox &plait, const QStringList &options = {});
    /// One of which all is there; but nobody knows that, because the server never told the size.
    static void leaveUnsized(ScriptedServer &server, PlaitSandbox &plait);
    static void verifyKept(PlaitSandbox &plait);
    static void verifyWhole(PlaitSandbox &plait, quint64 seed, qint64 size = kSize);
    /// The message says a command of that name, which is run.
    static void runTheCommandIn(PlaitSandbox &plait, const QByteArray &message, const QString &command);
};

void TestPlaitPolicies::leaveHalf(ScriptedServer &server, PlaitSandbox &plait, const QStringList &options)
{
    server.setResponse("/file.bin", PartWay::held(kSeed, kSize, kHalf));
    const QString trouble = PartWay::leave(plait, options + QStringList(server.url(kPath).toString()), kName, kSeed);
    QVERIFY2(trouble.isEmpty(), qPrintable(trouble));
    verifyKept(plait);
}

void TestPlaitPolicies::leaveUnsized(ScriptedServer &server, PlaitSandbox &plait)
{
    ScriptedResponse response = wholeFile();
    response.framing = Framing::Chunked;
    response.bytesPerSecond = kSize;
    response.holdAfter = kSize;
    server.setResponse("/file.bin", response);
    plait.start({server.url(kPath).toString()});
    QVERIFY2(server.waitForHeld(QString()), plait.errorText());
    QTRY_COMPARE_WITH_TIMEOUT(QFileInfo(plait.path(kPart)).size(), kSize, 20000);
    plait.sendSignal(SIGTERM);
    const PlaitResult result = plait.finish();
    QVERIFY2(result.status == kUnfinished, statusText(result));
    verifyKept(plait);
    server.setResponse("/file.bin", wholeFile());
}

void TestPlaitPolicies::verifyKept(PlaitSandbox &plait)
{
    QCOMPARE(plait.files(), QStringList(kPart));
    QVERIFY(plait.partBeginsWith(kName, TestFiles::content(kSeed, 0, 16)));
}

void TestPlaitPolicies::verifyWhole(PlaitSandbox &plait, quint64 seed, qint64 size)
{
    QCOMPARE(plait.files(), QStringList(kName));
    QCOMPARE(TestFiles::sha256OfFile(plait.path(kName)), TestFiles::sha256OfContent(seed, size));
}

void TestPlaitPolicies::runTheCommandIn(PlaitSandbox &plait, const QByteArray &message, const QString &command)
{
    const QList<QStringList> commands = PartWay::commandsIn(message);
    const auto found = std::find_if(commands.begin(), commands.end(),
                                    [&command](const QStringList &words) { return words.value(0) == command; });
    QVERIFY2(found != commands.end(), message);
    const PlaitResult result = plait.runBare(*found);
    QVERIFY2(result.status == kDone, statusText(result));
}

void TestPlaitPolicies::aServerWithoutRangesEndsTheDownloadAndKeepsIt()
{
    ScriptedServer server;
    PlaitSandbox plait;
    leaveHalf(server, plait);
    const QByteArray kept = TestFiles::sha256OfFile(plait.path(kPart));
    ScriptedResponse whole = wholeFile();
    whole.honoursRanges = false;
    server.setResponse("/file.bin", whole);
    const PlaitResult result = plait.runBare({u"resume"_s, u"--on-unresumable"_s, u"fail"_s, u"1"_s});
    QVERIFY2(result.status == kCannotResume, statusText(result));
    QVERIFY2(result.err.contains("cannot resume \"file.bin\""), result.err);
    verifyKept(plait);
    QCOMPARE(TestFiles::sha256OfFile(plait.path(kPart)), kept);

    runTheCommandIn(plait, result.err, u"restart"_s);
    verifyWhole(plait, kSeed);
}

void TestPlaitPolicies::aServerWithoutRangesIsAskedForAllOfItWithRestart()
{
    ScriptedServer server;
    PlaitSandbox plait;
    leaveHalf(server, plait);
    ScriptedResponse whole = wholeFile();
    whole.honoursRanges = false;
    server.setResponse("/file.bin", whole);
    const PlaitResult result = plait.runBare({u"resume"_s, u"--on-unresumable"_s, u"restart"_s, u"1"_s});
    QVERIFY2(result.status == kDone, statusText(result));
    QVERIFY2(result.err.contains("fetching it from the beginning"), result.err);
    verifyWhole(plait, kSeed);
}

void TestPlaitPolicies::aCompleteFileOfUnknownSizeEndsTheDownloadAndIsKept()
{
    ScriptedServer server;
    PlaitSandbox plait;
    leaveUnsized(server, plait);
    const PlaitResult result = plait.runBare({u"resume"_s, u"--on-unresumable"_s, u"fail"_s, u"1"_s});
    QVERIFY2(result.status == kCannotResume, statusText(result));
    verifyKept(plait);
    QCOMPARE(TestFiles::sha256OfFile(plait.path(kPart)), TestFiles::sha256OfContent(kSeed, kSize));

    runTheCommandIn(plait, result.err, u"restart"_s);
    verifyWhole(plait, kSeed);
}

void TestPlaitPolicies::aCompleteFileOfUnknownSizeIsFetchedAnewWithRestart()
{
    ScriptedServer server;
    PlaitSandbox plait;
    leaveUnsized(server, plait);
    const PlaitResult result = plait.runBare({u"resume"_s, u"--on-unresumable"_s, u"restart"_s, u"1"_s});
    QVERIFY2(result.status == kDone, statusText(result));
    verifyWhole(plait, kSeed);
    QVERIFY(!server.requests().constLast().hasHeader("Range") || PartWay::startOf(server.requests().constLast()) == 0);
}

void TestPlaitPolicies::aCompleteFileOfUnknownSizeCanBeFinished()
{
    ScriptedServer server;
    PlaitSandbox plait;
    leaveUnsized(server, plait);
    const qsizetype requests = server.requests().size();
    const PlaitResult result = plait.runBare({u"finish"_s, u"1"_s});
    QVERIFY2(result.status == kDone, statusText(result));
    verifyWhole(plait, kSeed);
    QCOMPARE(server.requests().size(), requests);
}

void TestPlaitPolicies::whatCameOfAFileOfUnknownSizeIsKept()
{
    ScriptedServer server;
    PlaitSandbox plait;
    leaveUnsized(server, plait);
    QCOMPARE(TestFiles::sha256OfFile(plait.path(kPart)), TestFiles::sha256OfContent(kSeed, kSize));
}

void TestPlaitPolicies::aChangedFileEndsTheDownloadAndKeepsIt_data()
{
    QTest::addColumn<quint64>("seed");
    QTest::addColumn<qint64>("size");
    QTest::newRow("another ETag") << kOtherSeed << kSize;
    QTest::newRow("a longer file") << kSeed << kSize + 1000;
    QTest::newRow("a shorter file") << kSeed << kSize - 1000;
    QTest::newRow("a file shorter than what is there") << kSeed << qint64(100);
}

void TestPlaitPolicies::aChangedFileEndsTheDownloadAndKeepsIt()
{
    QFETCH(quint64, seed);
    QFETCH(qint64, size);
    ScriptedServer server;
    PlaitSandbox plait;
    leaveHalf(server, plait);
    const QByteArray kept = TestFiles::sha256OfFile(plait.path(kPart));
    server.setResponse("/file.bin", wholeFile(seed, size));
    const PlaitResult result = plait.runBare({u"resume"_s, u"--on-changed"_s, u"fail"_s, u"1"_s});
    QVERIFY2(result.status == kResourceChanged, statusText(result));
    QVERIFY2(result.err.contains("no longer has the same file"), result.err);
    verifyKept(plait);
    QCOMPARE(TestFiles::sha256OfFile(plait.path(kPart)), kept);

    runTheCommandIn(plait, result.err, u"restart"_s);
    verifyWhole(plait, seed, size);
}

void TestPlaitPolicies::aChangedFileIsFetchedAnewWithRestart_data()
{
    aChangedFileEndsTheDownloadAndKeepsIt_data();
}

void TestPlaitPolicies::aChangedFileIsFetchedAnewWithRestart()
{
    QFETCH(quint64, seed);
    QFETCH(qint64, size);
    ScriptedServer server;
    PlaitSandbox plait;
    const QStringList options{u"--on-changed"_s, u"restart"_s};
    leaveHalf(server, plait, options);
    server.setResponse("/file.bin", wholeFile(seed, size));
    // What the download was begun with holds again.
    const PlaitResult result = plait.runBare({u"resume"_s, u"1"_s});
    QVERIFY2(result.status == kDone, statusText(result));
    QVERIFY2(result.err.contains("fetching it from the beginning"), result.err);
    verifyWhole(plait, seed, size);
}

void TestPlaitPolicies::aResumeCanChangeWhatIsToBeDone()
{
    ScriptedServer server;
    PlaitSandbox plait;
    leaveHalf(server, plait, {u"--on-changed"_s, u"restart"_s});
    server.setResponse("/file.bin", wholeFile(kOtherSeed));
    PlaitResult result = plait.runBare({u"resume"_s, u"--on-changed"_s, u"fail"_s, u"1"_s});
    QVERIFY2(result.status == kResourceChanged, statusText(result));
    verifyKept(plait);
    result = plait.run({u"--on-changed"_s, u"restart"_s, server.url(kPath).toString()});
    QVERIFY2(result.status == kDone, statusText(result));
    verifyWhole(plait, kOtherSeed);
}

void TestPlaitPolicies::aServerThatChangesItsFileEachTimeIsLeftAlone()
{
    ScriptedServer server;
    PlaitSandbox plait;
    leaveHalf(server, plait);
    std::atomic<quint64> seed = kOtherSeed;
    // Each answer is of another file, and is cut.
    server.setHandler("/file.bin", [&seed](const ScriptedRequest &) {
        ScriptedResponse response = wholeFile(seed++);
        response.bytesPerSecond = 2 * kHalf;
        response.cutAfter = kHalf;
        return response;
    });
    const PlaitResult result = plait.runBare(
        {u"resume"_s, u"--on-changed"_s, u"restart"_s, u"--tries"_s, u"2"_s, u"--retry-wait"_s, u"0.01"_s, u"1"_s});
    QVERIFY2(result.status == kResourceChanged, statusText(result));
    QCOMPARE(plait.files(), QStringList(kPart));
}

void TestPlaitPolicies::aFileInTheWayIsTreatedAsAskedFor_data()
{
    QTest::addColumn<QString>("how");
    QTest::addColumn<bool>("isNamed");
    QTest::addColumn<int>("status");
    QTest::addColumn<QStringList>("files");
    const QStringList both{u"file (1).bin"_s, kName};
    const QStringList one{kName};
    for (const bool isNamed : {false, true}) {
        const QByteArray whose = isNamed ? ", under a name of one's own" : ", under the server's name";
        QTest::newRow("no word about it" + whose) << QString() << isNamed << kDone << both;
        QTest::newRow("rename" + whose) << u"rename"_s << isNamed << kDone << both;
        QTest::newRow("overwrite" + whose) << u"overwrite"_s << isNamed << kDone << one;
        QTest::newRow("skip" + whose) << u"skip"_s << isNamed << kDone << one;
        QTest::newRow("fail" + whose) << u"fail"_s << isNamed << kFileExists << one;
        QTest::newRow("ask, and nobody is there" + whose) << u"ask"_s << isNamed << kFileExists << one;
    }
}

void TestPlaitPolicies::aFileInTheWayIsTreatedAsAskedFor()
{
    QFETCH(QString, how);
    QFETCH(bool, isNamed);
    QFETCH(int, status);
    QFETCH(QStringList, files);
    ScriptedServer server;
    server.setFallback([](const ScriptedRequest &) { return wholeFile(); });
    PlaitSandbox plait;
    QVERIFY(writeText(plait.path(kName), kOld));
    QStringList arguments;
    if (!how.isEmpty()) {
        arguments << u"--on-exists"_s << how;
    }
    if (isNamed) {
        arguments << u"-o"_s << kName << server.url(u"/something/else"_s).toString();
    } else {
        arguments << server.url(kPath).toString();
    }
    const PlaitResult result = plait.run(arguments);
    QVERIFY2(result.status == status, statusText(result));
    QCOMPARE(plait.files(), files);
    const bool isOverwritten = how == "overwrite"_L1;
    QCOMPARE(TestFiles::readFile(plait.path(kName)), isOverwritten ? TestFiles::content(kSeed, 0, kSize) : kOld);
    if (files.size() > 1) {
        QCOMPARE(TestFiles::sha256OfFile(plait.path(files.constFirst())), TestFiles::sha256OfContent(kSeed, kSize));
    }
    if (status != kDone || how == "skip"_L1) {
        QVERIFY2(result.err.contains(kName.toUtf8()), result.err);
    }
}

void TestPlaitPolicies::aNameThatIsTakenIsSkippedUnasked()
{
    ScriptedServer server;
    server.setResponse("/file.bin", wholeFile());
    PlaitSandbox plait;
    QVERIFY(writeText(plait.path(u"mine.bin"_s), kOld));
    const PlaitResult result =
        plait.run({u"--on-exists"_s, u"skip"_s, u"-o"_s, u"mine.bin"_s, server.url(kPath).toString()});
    QVERIFY2(result.status == kDone, statusText(result));
    QVERIFY2(result.err.contains("\"mine.bin\" is there already; skipped"), result.err);
    QCOMPARE(server.requests().size(), 0);
    QCOMPARE(plait.files(), QStringList(u"mine.bin"_s));
    QCOMPARE(TestFiles::readFile(plait.path(u"mine.bin"_s)), kOld);
    const PlaitResult list = plait.runBare({u"list"_s});
    QVERIFY2(list.status == kDone, statusText(list));
    QCOMPARE(list.out, QByteArray());
}

void TestPlaitPolicies::aFileInTheWayOfOneThatComesAsAskedForLaterOn()
{
    ScriptedServer server;
    PlaitSandbox plait;
    leaveHalf(server, plait);
    QVERIFY(writeText(plait.path(kName), kOld));
    server.setResponse("/file.bin", wholeFile());
    const PlaitResult result = plait.runBare({u"resume"_s, u"1"_s});
    QVERIFY2(result.status == kDone, statusText(result));
    QCOMPARE(plait.files(), QStringList({u"file (1).bin"_s, kName}));
    QCOMPARE(TestFiles::readFile(plait.path(kName)), kOld);
    QCOMPARE(TestFiles::sha256OfFile(plait.path(u"file (1).bin"_s)), TestFiles::sha256OfContent(kSeed, kSize));
}

void TestPlaitPolicies::aFileThatDoesNotFitIsNotTaken_data()
{
    QTest::addColumn<Framing>("framing");
    QTest::newRow("of a known size") << Framing::ContentLength;
    QTest::newRow("of a size that the server does not tell") << Framing::Chunked;
}

void TestPlaitPolicies::aFileThatDoesNotFitIsNotTaken()
{
    QFETCH(Framing, framing);
    const SmallDisk disk(1048576);
    if (!disk.isMounted()) {
        QSKIP("a disk of one's own can be mounted by root only");
    }
    ScriptedServer server;
    ScriptedResponse response = wholeFile(kSeed, kLargeSize);
    response.framing = framing;
    server.setResponse("/file.bin", response);
    PlaitSandbox plait;
    const PlaitResult result = plait.runBare({server.url(kPath).toString(), u"-d"_s, disk.path()});
    QVERIFY2(result.status == kDiskFull, statusText(result));
    QVERIFY2(result.err.contains('"' + QFile::encodeName(disk.path())), result.err);
    QVERIFY2(result.err.contains("file.bin"), result.err);
    QVERIFY2(result.err.contains("Make room"), result.err);
    QVERIFY2(!result.err.contains("trying again"), result.err);
    QVERIFY(!QFile::exists(disk.path() + u"/file.bin"_s));
}

void TestPlaitPolicies::aFileThatDidNotFitGoesOnWhenThereIsRoom()
{
    const SmallDisk disk(1048576);
    if (!disk.isMounted()) {
        QSKIP("a disk of one's own can be mounted by root only");
    }
    ScriptedServer server;
    server.setResponse("/file.bin", wholeFile());
    PlaitSandbox plait;
    QVERIFY(TestFiles::writeFile(disk.path() + u"/ballast"_s, 1, 900000));
    PlaitResult result = plait.runBare({server.url(kPath).toString(), u"-d"_s, disk.path()});
    QVERIFY2(result.status == kDiskFull, statusText(result));
    result = plait.runBare({u"resume"_s, u"1"_s});
    QVERIFY2(result.status == kDiskFull, statusText(result));
    QVERIFY2(result.err.contains("it does not fit. It needs "), result.err);
    QVERIFY2(result.err.contains(" is free there. Make room there and run \"plait resume 1\""), result.err);
    QVERIFY(QFile::remove(disk.path() + u"/ballast"_s));
    result = plait.runBare({u"resume"_s, u"1"_s});
    QVERIFY2(result.status == kDone, statusText(result));
    QCOMPARE(TestFiles::sha256OfFile(disk.path() + u"/file.bin"_s), TestFiles::sha256OfContent(kSeed, kSize));
}

void TestPlaitPolicies::aFileWithAnotherChecksumStays()
{
    ScriptedServer server;
    server.setResponse("/file.bin", wholeFile());
    PlaitSandbox plait;
    const PlaitResult result = plait.run(checksumOf(kOtherSeed) + QStringList(server.url(kPath).toString()));
    QVERIFY2(result.status == kChecksumMismatch, statusText(result));
    QVERIFY2(result.err.contains(TestFiles::sha256OfContent(kSeed, kSize)), result.err);
    QVERIFY2(result.err.contains(TestFiles::sha256OfContent(kOtherSeed, kSize)), result.err);
    verifyWhole(plait, kSeed);
    const PlaitResult list = plait.runBare({u"list"_s});
    QVERIFY2(list.out.contains("  wrong  ") && !list.out.contains("done"), list.out);
    const PlaitResult shown = plait.runBare({u"show"_s, u"1"_s});
    QVERIFY2(shown.out.contains("sha-256=" + TestFiles::sha256OfContent(kOtherSeed, kSize) + ", different"), shown.out);

    server.setResponse("/file.bin", wholeFile(kOtherSeed));
    runTheCommandIn(plait, result.err, u"restart"_s);
    verifyWhole(plait, kOtherSeed);
    const PlaitResult after = plait.runBare({u"list"_s});
    QVERIFY2(after.out.contains("  done  "), after.out);
}

void TestPlaitPolicies::aFileWithAnotherChecksumIsComparedAgain()
{
    ScriptedServer server;
    server.setResponse("/file.bin", wholeFile());
    PlaitSandbox plait;
    PlaitResult result = plait.run(checksumOf(kOtherSeed) + QStringList(server.url(kPath).toString()));
    QVERIFY2(result.status == kChecksumMismatch, statusText(result));
    const qsizetype requests = server.requests().size();
    result = plait.runBare({u"resume"_s, u"1"_s});
    QVERIFY2(result.status == kChecksumMismatch, statusText(result));
    // Somebody put the right one there.
    QVERIFY(TestFiles::writeFile(plait.path(kName), kOtherSeed, kSize));
    result = plait.runBare({u"resume"_s, u"1"_s});
    QVERIFY2(result.status == kDone, statusText(result));
    QCOMPARE(server.requests().size(), requests);
    verifyWhole(plait, kOtherSeed);
    const PlaitResult list = plait.runBare({u"list"_s});
    QVERIFY2(list.out.contains("  done  "), list.out);
}

void TestPlaitPolicies::aFileWithItsChecksumIsDone()
{
    ScriptedServer server;
    server.setResponse("/file.bin", wholeFile());
    PlaitSandbox plait;
    const PlaitResult result = plait.run(checksumOf(kSeed) + QStringList(server.url(kPath).toString()));
    QVERIFY2(result.status == kDone, statusText(result));
    const PlaitResult list = plait.runBare({u"list"_s});
    QVERIFY2(list.out.contains("  done  "), list.out);
}

QTEST_GUILESS_MAIN(TestPlaitPolicies)
#include "tst_plait_policies.moc"
