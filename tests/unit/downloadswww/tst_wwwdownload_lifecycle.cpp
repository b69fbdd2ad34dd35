// SPDX-License-Identifier: MIT
#include <inet/qt/download/downloadswww/wwwdownload.h>
#include <inet/qt/download/framework/ownfiles.h>
#include <inet/qt/download/framework/qtqobjectstracker.h>
#include <tests/support/downloadfixture.h>

#include <QDir>
#include <QFile>
#include <QScopeGuard>
#include <QTest>

using namespace Qt::StringLiterals;

using Command = AbstractDownloadCommand;
using Record = AbstractDownloadPersistentInfo;

namespace
{

const QByteArray kBody = "0123456789"_ba;
constexpr char kSource[] = "inet/qt/download/downloadswww/wwwdownload.cpp";

struct Bench : DownloadFixture {
    Bench() { watch(&download); }

    QList<QTimer *> timers() const { return download.findChildren<QTimer *>(QString(), Qt::FindDirectChildrenOnly); }
    FakeReply *startAt(const Record &info, Command command = Command::Start)
    {
        download.setInfo(info);
        events.clear();
        download.doCommand(command);
        return reply();
    }
    /// Brings a download of 1000 bytes to where its first 400 are written and the rest is awaited.
    void bringToTheMiddle()
    {
        startAt(record());
        begin(1000, QByteArray(400, 'x'));
        QTRY_COMPARE(download.bytesDownloaded(), 400);
    }

    WwwDownload download{kDownloadId, chief, userAgents, nullptr};
};

int livingObjects(const char *className)
{
    return QtQObjectsTracker::instance()->livingObjects().value(className);
}

}

class TestWwwDownloadLifecycle : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void newDownloadIsIdle();
    void commandsWithoutRecordAreIgnored();
    void commandsStartOrNot_data();
    void commandsStartOrNot();
    void completeRunTellsItsCourse();
    void failedRunLeavesItsErrorWhenItEnds();
    void startWhileRunningIsIgnored();
    void finishedRecordIsNotStarted_data();
    void finishedRecordIsNotStarted();
    void restartOfFinishedRecordBeginsFromZero();
    void restartOfWhatCannotBeRemovedEndsWithItsError();
    void restartWithoutFileJustFetches();
    void startTellsOnceThatAnOldErrorIsGone();
    void startAfterFileErrorMayCreateSectionsAgain();
    void recordWithAllBytesNeedsNoTransfer();
    void sectionsThatDoNotAddUpEndTheRun();
    void queryKeepsItsTransfer();
    void minimalQueryKeepsNothing();
    void queryOfWhatIsThereEndsAtOnce_data();
    void queryOfWhatIsThereEndsAtOnce();
    void queryOfUntouchedFileAsksAnew();
    void failedQueryEndsWithItsError();
    void timerExistsOnlyWhileSectionsRun();
    void cutTransferWithoutErrorGoesOn();
    void runWithoutFileIsAnError();
    void errorIsAsOldAsItsSectionsOwn_data();
    void errorIsAsOldAsItsSectionsOwn();
    void sectionsAreLogged();
    void courseIsLoggedAtLevelOne();
    void allocatedSizeIsLoggedAtLevelFour();
    void suppressedLogStaysEmpty();
    void connectionsAreRelayed();
    void writersAndTransfersAreTracked();
};

void TestWwwDownloadLifecycle::newDownloadIsIdle()
{
    DownloadFixture host;
    AbstractNetworkConsumerSettings settings;
    settings.userAgent = u"the chief's"_s;
    host.chief->setDefaultConsumerSettings(settings);
    const WwwDownload download(DownloadFixture::kDownloadId, host.chief, host.userAgents, nullptr);

    QCOMPARE(download.id(), DownloadFixture::kDownloadId);
    QVERIFY(!download.isRunning() && !download.isStopping() && !download.isFinalizing());
    QVERIFY(!download.queryMode() && !download.isQueryingInfo());
    QCOMPARE(download.currentTasks(), 0);
    QVERIFY(download.tasksProgress().isEmpty());
    QCOMPARE(download.lastError(), AbstractError());
    QVERIFY(download.lastSslErrors().isEmpty());
    QVERIFY(!download.lastErrorTime().isValid());
    QVERIFY(download.sections(true).isEmpty());
    QVERIFY(!download.creatingSection());
    QCOMPARE(download.runningSectionCount(), 0);
    QCOMPARE(download.info(), Record());
    QCOMPARE(download.networkSettings(), settings);
    QVERIFY(download.findChildren<QTimer *>().isEmpty());
}

void TestWwwDownloadLifecycle::commandsWithoutRecordAreIgnored()
{
    Bench bench;
    for (int command = 0; command <= 7; ++command)
        bench.download.doCommand(Command(command));
    QVERIFY(bench.events.isEmpty());
    QVERIFY(bench.replies.isEmpty());
}

void TestWwwDownloadLifecycle::commandsStartOrNot_data()
{
    QTest::addColumn<int>("command");
    QTest::addColumn<bool>("starts");
    QTest::addColumn<bool>("isQuery");
    QTest::newRow("0 asks for information") << 0 << true << true;
    QTest::newRow("1 asks for information and keeps nothing") << 1 << true << true;
    QTest::newRow("2 downloads") << 2 << true << false;
    QTest::newRow("3 does not start, it stops") << 3 << false << false;
    QTest::newRow("4 downloads again") << 4 << true << false;
    QTest::newRow("5 checks the resource without starting the download") << 5 << false << false;
    QTest::newRow("6 is ignored while not running") << 6 << false << false;
    QTest::newRow("7 is ignored") << 7 << false << false;
    QTest::newRow("a great number is ignored") << 1000 << false << false;
    QTest::newRow("a negative number is ignored") << -1 << false << false;
}

void TestWwwDownloadLifecycle::commandsStartOrNot()
{
    QFETCH(int, command);
    QFETCH(bool, starts);
    QFETCH(bool, isQuery);
    Bench bench;
    bench.startAt(bench.record(), Command(command));
    QCOMPARE(bench.download.isRunning(), starts);
    QCOMPARE(bench.download.isQueryingInfo(), isQuery);
    QCOMPARE(bench.download.currentTasks(), starts ? 1 : 0);
    QCOMPARE(bench.replies.size(), starts ? 1 : 0);
    QCOMPARE(bench.events, starts ? QStringList{u"running 1"_s} : QStringList());
    QVERIFY(!bench.download.isFinalizing());
}

void TestWwwDownloadLifecycle::completeRunTellsItsCourse()
{
    Bench bench;
    bench.startAt(bench.record());
    bench.answer(kBody);
    QTRY_VERIFY(!bench.download.isRunning());
    QCOMPARE(bench.content(u"file.bin"_s), kBody);
    QCOMPARE(bench.names(), QStringList{u"file.bin"_s});
    const Record info = bench.download.info();
    QVERIFY(info.isFinished());
    QVERIFY(info.finishedTime.isValid());
    QVERIFY(!info.lastError);
    QCOMPARE(info.files.first().sections, (QList<AbstractDownloadSection>{{0, 10, 10}}));
    QCOMPARE(bench.events.join(u", "_s),
             u"running 1, changed 0, files 1, changed 1, files 0, changed 0, files 1, changed 1, files 0, changed 0, "
             "changed 1, stopping, running 0"_s);
    for (const QString &line : {u"starting..."_s, u"running: 1"_s, u"sections running: 1"_s,
                                u"section #1 got ok response"_s, u"sections running: 0"_s,
                                u"sections finished downloading"_s, u"finished"_s, u"stopping..."_s, u"running: 0"_s})
        QVERIFY2(bench.timesLogged(line) == 1, qPrintable(line));
}

void TestWwwDownloadLifecycle::failedRunLeavesItsErrorWhenItEnds()
{
    Bench bench;
    bench.startAt(bench.record());
    AbstractError whileRunning;
    AbstractError atTheEnd;
    bench.onEvent = [&](const QString &event) {
        (event == u"running 0"_s ? atTheEnd : whileRunning) = bench.download.info().lastError;
        // The error is in the record by the one signal that tells of it.
        if (event == u"changed 1"_s)
            whileRunning = {};
    };
    bench.reply()->sendHead(404);
    QVERIFY(!bench.download.isRunning());
    QCOMPARE(whileRunning.code, 0);
    QCOMPARE(atTheEnd.code, 404);
    QCOMPARE(bench.download.lastError().category, std::string(ErrorCategory::kHttp));
    QVERIFY(bench.download.info().lastErrorTime.isValid());
    QCOMPARE(bench.events.mid(bench.events.indexOf(u"stopping"_s)),
             (QStringList{u"stopping"_s, u"changed 1"_s, u"running 0"_s}));
}

void TestWwwDownloadLifecycle::startWhileRunningIsIgnored()
{
    Bench bench;
    bench.startAt(bench.record());
    for (const Command command : {Command::Start, Command::Restart, Command::QueryInfo, Command::QueryInfoMinimal})
        bench.download.doCommand(command);
    QCOMPARE(bench.replies.size(), 1);
    QCOMPARE(bench.events, QStringList{u"running 1"_s});
    QCOMPARE(bench.timesLogged(u"starting..."_s), 1);
    QVERIFY(!bench.download.queryMode());
}

void TestWwwDownloadLifecycle::finishedRecordIsNotStarted_data()
{
    QTest::addColumn<int>("command");
    QTest::newRow("by a query") << 0;
    QTest::newRow("by a minimal query") << 1;
    QTest::newRow("by a start") << 2;
}

void TestWwwDownloadLifecycle::finishedRecordIsNotStarted()
{
    QFETCH(int, command);
    Bench bench;
    Record info = bench.recordWithFile(10, {{0, 10, 10}});
    info.setFinished(true, true);
    bench.startAt(info, Command(command));
    QVERIFY(!bench.download.isRunning());
    QVERIFY(bench.events.isEmpty());
    QVERIFY(bench.download.info().isFinished());
}

void TestWwwDownloadLifecycle::restartOfFinishedRecordBeginsFromZero()
{
    Bench bench;
    Record info = bench.recordWithFile(20, {{0, 20, 20}});
    bench.write(u"file.bin"_s, QByteArray(20, 'o'));
    info.files.first().pathOnDisk = u"file.bin"_s;
    info.files.first().fileFlags = AbstractDownloadFileInfo::CreatedOnDisk | AbstractDownloadFileInfo::Preallocated
        | AbstractDownloadFileInfo::FinalOnDisk;
    info.setFlag(Record::ResourceChanged, true);
    info.setFinished(true, true);
    QStringList namesAtEndOfFileOps;
    bench.onEvent = [&](const QString &event) {
        if (event == u"files 0"_s && namesAtEndOfFileOps.isEmpty())
            namesAtEndOfFileOps = bench.names() + QStringList{u"looked"_s};
    };
    bench.startAt(info, Command::Restart);

    QCOMPARE(bench.events.join(u", "_s), u"changed 0, running 1, changed 0, files 1, files 0, changed 1"_s);
    QCOMPARE(namesAtEndOfFileOps, QStringList{u"looked"_s});
    const Record begun = bench.download.info();
    QVERIFY(!begun.isFinished() && !begun.finishedTime.isValid());
    QVERIFY(!begun.hasFlag(Record::ResourceChanged));
    QVERIFY(begun.files.first().sections.isEmpty());
    QVERIFY(begun.files.first().pathOnDisk.isEmpty());
    QCOMPARE(begun.files.first().fileFlags & 3, 0);
    QVERIFY(!bench.reply()->request().hasRawHeader("Range"));

    bench.answer(kBody);
    QTRY_VERIFY(!bench.download.isRunning());
    QVERIFY(bench.download.info().isFinished());
    QCOMPARE(bench.content(u"file.bin"_s), kBody);
}

/// It is not taken for another download's, beside which the new file would have room.
void TestWwwDownloadLifecycle::restartOfWhatCannotBeRemovedEndsWithItsError()
{
    Bench bench;
    Record info = bench.recordWithPart(10, "abc");
    info.existingFileReaction = AbstractDownloadExistingFileReaction::Overwrite;
    const QString path = info.filePath(0);
    QVERIFY(QFile::remove(path) && QDir().mkpath(path + "/full"_L1));
    OwnFiles::set(path, FileIdentity::of(path));
    const auto forget = qScopeGuard([&path] { OwnFiles::forget(path); });
    bench.startAt(info, Command::Restart);
    bench.answer(kBody);
    QTRY_VERIFY(!bench.download.isRunning());
    QCOMPARE(bench.download.info().lastError.category, std::string(ErrorCategory::kFile));
    QCOMPARE(bench.names(), QStringList{u"file.bin.part"_s});
}

void TestWwwDownloadLifecycle::restartWithoutFileJustFetches()
{
    Bench bench;
    Record info = bench.record();
    info.setFlag(Record::ResourceChanged, true);
    bench.startAt(info, Command::Restart);
    QCOMPARE(bench.events, QStringList{u"running 1"_s});
    QCOMPARE(bench.replies.size(), 1);
    QVERIFY(bench.download.info().hasFlag(Record::ResourceChanged));
}

void TestWwwDownloadLifecycle::startTellsOnceThatAnOldErrorIsGone()
{
    Bench bench;
    Record info = bench.record();
    info.setLastError({404, ErrorCategory::kHttp, "s", "d"});
    bench.startAt(info);
    QCOMPARE(bench.events, (QStringList{u"running 1"_s, u"changed 0"_s}));
    QCOMPARE(bench.download.info().lastError, AbstractError());
}

void TestWwwDownloadLifecycle::startAfterFileErrorMayCreateSectionsAgain()
{
    using SectionScheduling::CreateVerdict;
    Bench bench;
    Record info = bench.recordWithPart(1000, QByteArray(400, 'x'));
    info.files.first().pathOnDisk = u"nowhere/file.bin.part"_s;
    bench.startAt(info);
    bench.beginRange(400, 1000, QByteArray(100, 'x'));
    QTRY_VERIFY(!bench.download.isRunning());
    QCOMPARE(bench.download.lastError().category, std::string(ErrorCategory::kFile));
    QCOMPARE(bench.download.mayCreateSection(), CreateVerdict::NoMoreSections);
    bench.download.doCommand(Command::Start);
    QVERIFY(bench.download.isRunning());
    QCOMPARE(bench.download.mayCreateSection(), CreateVerdict::Allowed);
}

void TestWwwDownloadLifecycle::recordWithAllBytesNeedsNoTransfer()
{
    Bench bench;
    bench.startAt(bench.recordWithPart(10, kBody));
    QVERIFY(bench.download.isRunning());
    QVERIFY(bench.timers().isEmpty());
    QTRY_VERIFY(!bench.download.isRunning());
    QVERIFY(bench.replies.isEmpty());
    QVERIFY(bench.download.info().isFinished());
    QCOMPARE(bench.names(), QStringList{u"file.bin"_s});
    QCOMPARE(bench.events.join(u", "_s),
             u"running 1, files 1, changed 1, files 0, changed 0, changed 1, stopping, running 0"_s);
}

void TestWwwDownloadLifecycle::sectionsThatDoNotAddUpEndTheRun()
{
    Bench bench;
    bench.startAt(bench.recordWithFile(1000, {{0, 400, 400}}));
    QTRY_VERIFY(!bench.download.isRunning());
    QVERIFY(bench.replies.isEmpty());
    QCOMPARE(bench.download.lastError().code, int(GenericErrorCode::Unexpected));
    QVERIFY(!bench.download.lastError().description.empty());
}

void TestWwwDownloadLifecycle::queryKeepsItsTransfer()
{
    Bench bench;
    bench.startAt(bench.record(), Command::QueryInfo);
    bench.begin(10, kBody.left(5));
    QVERIFY(!bench.download.isRunning());
    QVERIFY(!bench.reply()->wasAborted());
    const Record asked = bench.download.info();
    QCOMPARE(asked.files.size(), 1);
    QCOMPARE(asked.files.first().name, u"file.bin"_s);
    QCOMPARE(asked.files.first().sections, (QList<AbstractDownloadSection>{{0, 10, 0}}));
    QVERIFY(!asked.isFinished() && !asked.lastError);
    QVERIFY(bench.names().isEmpty());

    bench.download.doCommand(Command::Start);
    bench.reply()->sendData(kBody.mid(5));
    bench.reply()->end();
    QTRY_VERIFY(!bench.download.isRunning());
    QCOMPARE(bench.replies.size(), 1);
    QCOMPARE(bench.content(u"file.bin"_s), kBody);
}

void TestWwwDownloadLifecycle::minimalQueryKeepsNothing()
{
    Bench bench;
    const QPointer<FakeReply> asked = bench.startAt(bench.record(), Command::QueryInfoMinimal);
    bench.begin(10, {});
    QVERIFY(!bench.download.isRunning());
    QVERIFY(!asked || asked->wasAborted());
    QCOMPARE(bench.download.info().files.first().size, 10);
    bench.download.doCommand(Command::Start);
    QCOMPARE(bench.replies.size(), 2);
}

void TestWwwDownloadLifecycle::queryOfWhatIsThereEndsAtOnce_data()
{
    QTest::addColumn<qint64>("downloaded");
    QTest::addColumn<bool>("isOnDisk");
    QTest::newRow("bytes are there") << qint64(4) << false;
    QTest::newRow("an empty file is on disk") << qint64(0) << true;
}

void TestWwwDownloadLifecycle::queryOfWhatIsThereEndsAtOnce()
{
    QFETCH(qint64, downloaded);
    QFETCH(bool, isOnDisk);
    Bench bench;
    Record info = bench.recordWithFile(10, {{0, 10, downloaded}});
    info.files.first().fileFlags = isOnDisk ? AbstractDownloadFileInfo::CreatedOnDisk : 0;
    bench.startAt(info, Command::QueryInfo);
    QCOMPARE(bench.events, (QStringList{u"running 1"_s, u"running 0"_s}));
    QVERIFY(bench.replies.isEmpty());
    QVERIFY(!bench.download.info().lastError);
    QCOMPARE(bench.download.sections(true).size(), 1);
}

void TestWwwDownloadLifecycle::queryOfUntouchedFileAsksAnew()
{
    Bench bench;
    bench.startAt(bench.recordWithFile(10), Command::QueryInfo);
    QCOMPARE(bench.events, (QStringList{u"running 1"_s, u"changed 0"_s}));
    QVERIFY(bench.download.info().files.isEmpty());
    QCOMPARE(bench.replies.size(), 1);
    bench.begin(20, {});
    QCOMPARE(bench.download.info().files.first().size, 20);
}

void TestWwwDownloadLifecycle::failedQueryEndsWithItsError()
{
    Bench bench;
    bench.startAt(bench.record(), Command::QueryInfo);
    bench.reply()->sendHead(410, "Gone"_ba);
    QVERIFY(!bench.download.isRunning());
    QCOMPARE(bench.download.lastError().code, 410);
    QVERIFY(bench.logged(u"removing creating section #1. Reason:failed to start"_s));
    QVERIFY(bench.download.sections(true).isEmpty());
}

void TestWwwDownloadLifecycle::timerExistsOnlyWhileSectionsRun()
{
    Bench bench;
    bench.startAt(bench.record());
    QCOMPARE(bench.timers().size(), 1);
    QTimer *const timer = bench.timers().first();
    QCOMPARE(timer->interval(), 1000);
    QVERIFY(timer->isActive());
    bench.onEvent = [&](const QString &event) {
        if (event == u"stopping"_s)
            QVERIFY(bench.timers().isEmpty());
    };
    bench.answer(kBody);
    QTRY_VERIFY(!bench.download.isRunning());
    QVERIFY(bench.timers().isEmpty());
}

void TestWwwDownloadLifecycle::cutTransferWithoutErrorGoesOn()
{
    Bench bench;
    bench.startAt(bench.recordWithPart(10, kBody.left(4)));
    bench.reply()->sendHead(206, "Partial Content"_ba, {{"Content-Range"_ba, "bytes 4-9/10"_ba}});
    bench.reply()->sendData(kBody.mid(4, 2));
    bench.reply()->end();
    QTRY_COMPARE(bench.replies.size(), 2);
    QCOMPARE(bench.reply()->request().rawHeader("Range"), "bytes=6-"_ba);
    QVERIFY(bench.logged(u"section #1 stopped (offset: 0, size: 10, done: 6)"_s));
    bench.beginRange(6, 10, kBody.mid(6));
    bench.reply()->end();
    QTRY_VERIFY(!bench.download.isRunning());
    QVERIFY(bench.download.info().isFinished());
    QCOMPARE(bench.content(u"file.bin"_s), kBody);
    QVERIFY(!bench.events.mid(0, bench.events.size() - 1).contains(u"running 0"_s));
}

void TestWwwDownloadLifecycle::runWithoutFileIsAnError()
{
    Bench bench;
    bench.startAt(bench.record());
    bench.reply()->end();
    QTRY_VERIFY(!bench.download.isRunning());
    QCOMPARE(bench.download.info().lastError, AbstractError(1, "GenericError", errorSource(kSource, 965), {}));
    QVERIFY(bench.download.lastErrorTime().isValid());
    QVERIFY(bench.download.sections(true).isEmpty());
    bench.download.doCommand(Command::Start);
    QCOMPARE(bench.replies.size(), 2);
}

void TestWwwDownloadLifecycle::errorIsAsOldAsItsSectionsOwn_data()
{
    QTest::addColumn<Record>("info");
    const Bench bench;
    QTest::newRow("of the first section, in creation") << bench.record();
    QTest::newRow("of a section that the record knows") << bench.recordWithFile(10, {{0, 10, 0}});
}

void TestWwwDownloadLifecycle::errorIsAsOldAsItsSectionsOwn()
{
    QFETCH(Record, info);
    Bench bench;
    info.folder = bench.record().folder;
    bench.startAt(info);
    // The transfer has failed by then, and says last of all that it has ended.
    QDateTime asItCame;
    connect(&bench.download, &AbstractDownload::connectionsMapChangedDelta, &bench.download, [&asItCame] {
        asItCame = QDateTime::currentDateTime();
        while (QDateTime::currentDateTime() == asItCame) {}
    });
    const QDateTime before = QDateTime::currentDateTime();
    bench.reply()->end(QNetworkReply::ConnectionRefusedError);
    QTRY_VERIFY(!bench.download.isRunning());
    QVERIFY(asItCame.isValid());
    QVERIFY(bench.download.lastErrorTime() >= before);
    QVERIFY(bench.download.lastErrorTime() <= asItCame);
    QCOMPARE(bench.download.info().lastErrorTime, bench.download.lastErrorTime());
}

void TestWwwDownloadLifecycle::sectionsAreLogged()
{
    Bench bench;
    bench.startAt(bench.record());
    QVERIFY(bench.logged(u"creating section: #1(offset:0, size:-1)"_s));
    QVERIFY(bench.logged(u"section #1 started (offset: 0, size: -1, done: 0)"_s));
    bench.answer(kBody);
    QTRY_VERIFY(!bench.download.isRunning());
    QVERIFY(bench.logged(u"section #1 finished (offset: 0, size: 10, done: 10)"_s));

    Bench failing;
    failing.startAt(failing.record());
    failing.reply()->sendHead(503);
    QVERIFY(failing.logged(u"section #1 stopped (offset: 0, size: -1, done: 0)"_s));
    QVERIFY(failing.logged(u"section #1 error: "_s + failing.download.lastError().toLogText()));
    QVERIFY(failing.logged(u"removing creating section #1. Reason:stopped unexpectedly"_s));
}

void TestWwwDownloadLifecycle::courseIsLoggedAtLevelOne()
{
    Bench bench;
    bench.startAt(bench.record());
    bench.answer(kBody);
    QTRY_VERIFY(!bench.download.isRunning());
    for (const QString &line : {u"starting..."_s, u"running: 1"_s, u"section #1 got ok response"_s,
                                u"sections finished downloading"_s, u"finished"_s, u"stopping..."_s, u"running: 0"_s}) {
        QVERIFY2(bench.levelsOf(line) == QList<int>{1}, qPrintable(line));
    }
}

void TestWwwDownloadLifecycle::allocatedSizeIsLoggedAtLevelFour()
{
    Bench bench;
    bench.startAt(bench.record());
    bench.begin(200'000'000, {}, {{"Accept-Ranges"_ba, "bytes"_ba}});
    const auto section = bench.download.sections(false).first();
    Q_EMIT section->preallocatingFile(150'000'000);
    QCOMPARE(bench.levelsOf(u"currently allocated file size: 150000000"_s), QList<int>{4});
    QCOMPARE(bench.replies.size(), 2);
    bench.download.doCommand(Command::Stop);
    QTRY_VERIFY(!bench.download.isRunning());
}

void TestWwwDownloadLifecycle::suppressedLogStaysEmpty()
{
    Bench bench;
    Record info = bench.record();
    info.setFlag(Record::LoggingSuppressed, true);
    bench.startAt(info);
    bench.answer(kBody);
    QTRY_VERIFY(!bench.download.isRunning());
    QVERIFY(bench.download.info().isFinished());
    QCOMPARE(bench.lines, QStringList());
}

void TestWwwDownloadLifecycle::connectionsAreRelayed()
{
    Bench bench;
    bench.startAt(bench.record());
    QCOMPARE(bench.connections().value({u"a.test"_s, 80}).count, 1);
    QCOMPARE(bench.download.connectionsMap(), bench.connections());
    bench.answer(kBody);
    QTRY_VERIFY(!bench.download.isRunning());
    QVERIFY(bench.connections().isEmpty());
    QVERIFY(bench.download.connectionsMap().isEmpty());
}

void TestWwwDownloadLifecycle::writersAndTransfersAreTracked()
{
    QTRY_COMPARE(livingObjects("FileDataAsyncWriter"), 0);
    QTRY_COMPARE(livingObjects("WwwDownloader"), 0);
    {
        Bench bench;
        bench.bringToTheMiddle();
        QCOMPARE(livingObjects("FileDataAsyncWriter"), 1);
        QCOMPARE(livingObjects("WwwDownloader"), 1);
        QCOMPARE(livingObjects("MemoryDataAsyncWriter"), 0);
    }
    QTRY_COMPARE(livingObjects("FileDataAsyncWriter"), 0);
    QTRY_COMPARE(livingObjects("WwwDownloader"), 0);
}

QTEST_GUILESS_MAIN(TestWwwDownloadLifecycle)
#include "tst_wwwdownload_lifecycle.moc"
