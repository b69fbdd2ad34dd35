// SPDX-License-Identifier: MIT
#include <inet/qt/download/downloadswww/wwwdownload.h>
#include <tests/support/downloadfixture.h>

#include <QTest>

#include <functional>
#include <utility>

using namespace Qt::StringLiterals;

using Command = AbstractDownloadCommand;
using Record = AbstractDownloadPersistentInfo;
using Ranges = QList<AbstractDownloadSection>;
/// What a receiver does to the download in the middle of its signal.
using Act = std::function<void(WwwDownload &)>;
Q_DECLARE_METATYPE(Act)

namespace
{

const QByteArray kBody = "0123456789"_ba;
constexpr char kSource[] = "inet/qt/download/downloadswww/wwwdownload.cpp";
/// Large enough for two sections, too small for three.
constexpr qint64 kTwoSections = 614000;

struct Bench : DownloadFixture {
    Bench() { watch(&download); }

    void startAt(const Record &info, Command command = Command::Start)
    {
        download.setInfo(info);
        events.clear();
        download.doCommand(command);
    }
    /// Brings a download of 1000 bytes to where its first 400 are written and the rest is awaited.
    void bringToTheMiddle()
    {
        startAt(record());
        begin(1000, QByteArray(400, 'x'));
        QTRY_COMPARE(download.bytesDownloaded(), 400);
    }
    /// Two sections that run, with so many bytes in memory already.
    void bringToTwoSections(qint64 first, qint64 second)
    {
        Record info = record();
        info.destinationType = Record::ToMemory;
        startAt(info);
        begin(kTwoSections, QByteArray(first, 'a'), {{"Accept-Ranges"_ba, "bytes"_ba}});
        QTRY_COMPARE(replies.size(), 2);
        beginRange(kTwoSections / 2, kTwoSections, QByteArray(second, 'b'));
        QTRY_COMPARE(download.bytesDownloaded(), first + second);
        QCOMPARE(download.runningSectionCount(), 2);
    }
    /// A record that a restart has everything to do with: an error, a file begun on disk, bytes in it.
    Record usedRecord() const
    {
        Record info = recordWithPart(20, QByteArray(5, 'o'));
        info.setLastError({404, ErrorCategory::kHttp, "s", "d"});
        return info;
    }
    /// Whatever is asked for is answered, until nothing more comes.
    void playToTheEnd()
    {
        const auto isAtRest = [this] {
            if (FakeReply *const asked = reply(); asked && !asked->isFinished() && download.isRunning())
                answer(kBody, {{"Accept-Ranges"_ba, "bytes"_ba}});
            return !download.isRunning();
        };
        QTRY_VERIFY(isAtRest());
    }

    WwwDownload download{kDownloadId, chief, userAgents, nullptr};
};

QStringList eventsOfRestart()
{
    Bench bench;
    bench.startAt(bench.usedRecord(), Command::Restart);
    bench.playToTheEnd();
    return bench.events;
}

bool isAborted(const AbstractError &error, unsigned line)
{
    return error == operationAbortedError(errorSource(kSource, line).c_str());
}

}

class TestWwwDownloadStop : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void stopWhileIdleIsIgnored();
    void stopBeforeAnAnswerEndsAtOnce();
    void stopWaitsForTheWriter();
    void stopEndsEverySection();
    void stopKeepsTheErrorThatItWasGiven();
    void stopDuringInitialFileOperationsWaits();
    void stopDuringFinalFileOperationsWaits();
    void finishNowIsContentWithWhatIsThere();
    void finishNowAsItBeginsIsContentWithWhatIsThere_data();
    void finishNowAsItBeginsIsContentWithWhatIsThere();
    void finishNowAddsTheSectionsUp();
    void finishNowWithoutFileJustEnds();
    void finishNowWhileFinalizingIsIgnored();
    void finishNowDuringFinalFileOperationsFinishes();
    void finishedPartCanBeRestarted();
    void nextRunMayBeginInTheSignalOfTheLastOnesEnd();
    void fileErrorEndsTheRun();
    void sectionThatFailsEndsTheRunWhenTheOthersAreDone();
    void lostCreatingSectionDoesNotEndTheRun();
    void removalOfTheLastSectionIsDecidedLater();
    void runBegunWhileASectionIsRemovedKeepsItsOwn();
    void runBegunAsTheLastOneFinishesGoesOn();
    void restartInsideARestartLeavesOtherFilesAlone();
    void queryThatWasStoppedLeavesNothingInTheWay();
    void receiversMayInterfereAnywhere_data();
    void receiversMayInterfereAnywhere();
    void downloadMayBeDeletedAnywhere_data();
    void downloadMayBeDeletedAnywhere();
};

void TestWwwDownloadStop::stopWhileIdleIsIgnored()
{
    Bench bench;
    bench.startAt(bench.record(), Command::Stop);
    bench.download.stop({5, "X", "s", "d"});
    QVERIFY(bench.events.isEmpty());
    QVERIFY(!bench.download.isStopping());
    QCOMPARE(bench.download.info().lastError, AbstractError());
}

void TestWwwDownloadStop::stopBeforeAnAnswerEndsAtOnce()
{
    Bench bench;
    bench.startAt(bench.record());
    const QPointer<FakeReply> reply = bench.reply();
    bench.download.doCommand(Command::Stop);
    QVERIFY(!bench.download.isRunning() && !bench.download.isStopping());
    QVERIFY(!reply || reply->wasAborted());
    QVERIFY(isAborted(bench.download.info().lastError, 316));
    QVERIFY(!bench.download.info().isLastErrorSignificant());
    QVERIFY(bench.connections().isEmpty());
}

void TestWwwDownloadStop::stopWaitsForTheWriter()
{
    Bench bench;
    bench.bringToTheMiddle();
    bench.events.clear();
    bench.download.doCommand(Command::Stop);
    QVERIFY(bench.download.isStopping() && bench.download.isRunning());
    QVERIFY(!bench.download.isFinalizing());
    QCOMPARE(bench.timesLogged(u"stopping: waiting for the sections to stop..."_s), 0);
    bench.download.doCommand(Command::Stop);
    QCOMPARE(bench.timesLogged(u"stopping: waiting for the sections to stop..."_s), 1);
    QCOMPARE(bench.timesLogged(u"stopping..."_s), 1);
    QCOMPARE(bench.download.info().lastError, AbstractError());

    QTRY_VERIFY(!bench.download.isRunning());
    QVERIFY(!bench.download.isStopping());
    QCOMPARE(bench.events.join(u", "_s), u"stopping, changed 0, progress 400/1000, changed 1, running 0"_s);
    QVERIFY(isAborted(bench.download.info().lastError, 316));
    QCOMPARE(bench.download.info().files.first().sections, (Ranges{{0, 1000, 400}}));
    QCOMPARE(bench.content(u"file.bin.part"_s).left(400), QByteArray(400, 'x'));
}

void TestWwwDownloadStop::stopEndsEverySection()
{
    Bench bench;
    bench.bringToTwoSections(100, 50);
    bench.download.doCommand(Command::Stop);
    QTRY_VERIFY(!bench.download.isRunning());
    QCOMPARE(bench.download.runningSectionCount(), 0);
    for (const auto &section : bench.download.sections(true))
        QVERIFY(isAborted(section->lastError(), 316));
    QCOMPARE(bench.download.info().files.first().sections,
             (Ranges{{0, kTwoSections / 2, 100}, {kTwoSections / 2, kTwoSections / 2, 50}}));
    QVERIFY(bench.connections().isEmpty());
}

void TestWwwDownloadStop::stopKeepsTheErrorThatItWasGiven()
{
    Bench bench;
    bench.bringToTheMiddle();
    const AbstractError first(5, "First", "s", "d");
    bench.download.stop(first);
    bench.download.stop({6, "Second", "s", "d"});
    QTRY_VERIFY(!bench.download.isRunning());
    QCOMPARE(bench.download.info().lastError, first);

    Bench without;
    without.bringToTheMiddle();
    without.download.stop(AbstractError());
    QTRY_VERIFY(!without.download.isRunning());
    QCOMPARE(without.download.info().lastError, AbstractError());
}

void TestWwwDownloadStop::stopDuringInitialFileOperationsWaits()
{
    Bench bench;
    bench.startAt(bench.record());
    bench.begin(1000, QByteArray(400, 'x'));
    bench.download.doCommand(Command::Stop);
    QVERIFY(bench.logged(u"stopping: waiting for the file operations to finish..."_s));
    QVERIFY(bench.download.isRunning() && bench.download.isStopping());
    QTRY_VERIFY(!bench.download.isRunning());
    QVERIFY(isAborted(bench.download.info().lastError, 316));
    QVERIFY(bench.download.info().files.first().isOnDisk());
    QCOMPARE(bench.names(), QStringList{u"file.bin.part"_s});
    QCOMPARE(bench.events.last(), u"running 0"_s);
}

void TestWwwDownloadStop::stopDuringFinalFileOperationsWaits()
{
    Bench bench;
    bench.startAt(bench.recordWithPart(10, kBody));
    bench.download.doCommand(Command::Stop);
    QCOMPARE(bench.timesLogged(u"stopping: waiting for the file operations to finish..."_s), 1);
    QVERIFY(bench.download.isRunning() && bench.download.isStopping());
    QTRY_VERIFY(!bench.download.isRunning());
    QVERIFY(bench.download.info().isFinished());
    QVERIFY(isAborted(bench.download.info().lastError, 316));
    QCOMPARE(bench.names(), QStringList{u"file.bin"_s});
}

void TestWwwDownloadStop::finishNowIsContentWithWhatIsThere()
{
    Bench bench;
    bench.bringToTheMiddle();
    QList<bool> finalizing;
    bench.onEvent = [&](const QString &) { finalizing.append(bench.download.isFinalizing()); };
    bench.events.clear();
    bench.download.doCommand(Command::FinishNow);
    QVERIFY(bench.download.isFinalizing());
    QTRY_VERIFY(!bench.download.isRunning());
    QVERIFY(!bench.download.isFinalizing());
    const Record info = bench.download.info();
    QVERIFY(info.isFinished());
    QCOMPARE(info.lastError, AbstractError());
    QCOMPARE(info.files.first().size, 400);
    QCOMPARE(info.files.first().sections, (Ranges{{0, 400, 400}}));
    QCOMPARE(bench.content(u"file.bin"_s), QByteArray(400, 'x'));
    QCOMPARE(bench.events.last(), u"running 0"_s);
    QVERIFY(!finalizing.takeLast());
    QVERIFY(!finalizing.contains(false));
    const AbstractError given = operationAbortedError(errorSource(kSource, 327).c_str());
    QVERIFY(bench.logged(u"[Section #1]: stopping with error: "_s + given.toLogText()));
}

void TestWwwDownloadStop::finishNowAsItBeginsIsContentWithWhatIsThere_data()
{
    QTest::addColumn<Command>("command");
    QTest::addColumn<QString>("event");
    for (const QString &event : {u"running 1"_s, u"changed 0"_s}) {
        QTest::addRow("a query, %s", qPrintable(event)) << Command::QueryInfo << event;
        QTest::addRow("a start, %s", qPrintable(event)) << Command::Start << event;
    }
}

void TestWwwDownloadStop::finishNowAsItBeginsIsContentWithWhatIsThere()
{
    QFETCH(Command, command);
    QFETCH(QString, event);
    Bench bench;
    bench.download.setInfo(bench.usedRecord());
    bench.onEvent = [&](const QString &told) {
        if (told != event)
            return;
        bench.onEvent = {};
        bench.download.doCommand(Command::FinishNow);
    };
    bench.download.doCommand(command);
    QVERIFY(!bench.onEvent);
    QTRY_VERIFY(!bench.download.isRunning());
    QVERIFY(bench.download.info().isFinished());
    QVERIFY(bench.replies.isEmpty());
    QCOMPARE(bench.content(u"file.bin"_s), QByteArray(5, 'o'));
}

void TestWwwDownloadStop::finishNowAddsTheSectionsUp()
{
    Bench bench;
    bench.bringToTwoSections(100, 50);
    bench.download.doCommand(Command::FinishNow);
    QTRY_VERIFY(!bench.download.isRunning());
    const Record info = bench.download.info();
    QVERIFY(info.isFinished());
    QCOMPARE(info.files.first().size, 150);
    QCOMPARE(info.files.first().sections, (Ranges{{0, 150, 150}}));
    QCOMPARE(bench.download.sections(true).size(), 1);
    QCOMPARE(bench.download.sections(true).first()->section(), (AbstractDownloadSection{0, 150, 150}));
}

void TestWwwDownloadStop::finishNowWithoutFileJustEnds()
{
    Bench bench;
    bench.startAt(bench.record());
    bench.download.doCommand(Command::FinishNow);
    QVERIFY(!bench.download.isRunning());
    QVERIFY(!bench.download.isFinalizing());
    QVERIFY(!bench.download.info().isFinished());
    QVERIFY(bench.download.info().files.isEmpty());
    QVERIFY(bench.names().isEmpty());
}

void TestWwwDownloadStop::finishNowWhileFinalizingIsIgnored()
{
    Bench bench;
    bench.bringToTheMiddle();
    bench.download.doCommand(Command::FinishNow);
    const qsizetype said = bench.lines.size();
    bench.download.doCommand(Command::FinishNow);
    QCOMPARE(bench.lines.size(), said);
    QTRY_VERIFY(!bench.download.isRunning());
    QCOMPARE(bench.events.count(u"stopping"_s), 1);
    QCOMPARE(bench.events.count(u"running 0"_s), 1);
}

void TestWwwDownloadStop::finishNowDuringFinalFileOperationsFinishes()
{
    Bench bench;
    bench.startAt(bench.recordWithPart(10, kBody));
    bench.download.doCommand(Command::FinishNow);
    QVERIFY(bench.download.isRunning());
    QTRY_VERIFY(!bench.download.isRunning());
    QVERIFY(bench.download.info().isFinished());
    QCOMPARE(bench.download.info().lastError, AbstractError());
    QCOMPARE(bench.content(u"file.bin"_s), kBody);
}

void TestWwwDownloadStop::finishedPartCanBeRestarted()
{
    Bench bench;
    bench.bringToTheMiddle();
    bench.download.doCommand(Command::FinishNow);
    QTRY_VERIFY(!bench.download.isRunning());
    bench.download.doCommand(Command::Restart);
    bench.playToTheEnd();
    QVERIFY(bench.download.info().isFinished());
    QCOMPARE(bench.content(u"file.bin"_s), kBody);
}

void TestWwwDownloadStop::nextRunMayBeginInTheSignalOfTheLastOnesEnd()
{
    Bench bench;
    bench.bringToTheMiddle();
    int restarts = 1;
    bench.onEvent = [&](const QString &event) {
        if (event == u"running 0"_s && restarts-- > 0)
            bench.download.doCommand(Command::Start);
    };
    bench.download.doCommand(Command::Stop);
    QTRY_COMPARE(bench.replies.size(), 2);
    QVERIFY(bench.download.isRunning() && !bench.download.isStopping());
    QCOMPARE(bench.download.info().lastError, AbstractError());
    QCOMPARE(bench.reply()->request().rawHeader("Range"), "bytes=400-"_ba);
    bench.beginRange(400, 1000, QByteArray(600, 'y'));
    bench.reply()->end();
    QTRY_VERIFY(!bench.download.isRunning());
    QCOMPARE(bench.content(u"file.bin"_s), QByteArray(400, 'x') + QByteArray(600, 'y'));
}

void TestWwwDownloadStop::fileErrorEndsTheRun()
{
    Bench bench;
    Record info = bench.recordWithPart(1000, QByteArray(400, 'x'));
    info.files.first().pathOnDisk = u"nowhere/file.bin.part"_s;
    bench.startAt(info);
    bench.beginRange(400, 1000, QByteArray(100, 'x'));
    QTRY_VERIFY(!bench.download.isRunning());
    QCOMPARE(bench.download.info().lastError.category, std::string(ErrorCategory::kFile));
    QVERIFY(bench.download.lastErrorTime().isValid());
    QVERIFY(bench.download.sections(true).first()->isLastErrorFileError());
    QCOMPARE(bench.download.info().files.first().sections, (Ranges{{0, 1000, 400}}));
}

void TestWwwDownloadStop::sectionThatFailsEndsTheRunWhenTheOthersAreDone()
{
    Bench bench;
    bench.bringToTwoSections(100, 50);
    bench.reply(0)->end(QNetworkReply::RemoteHostClosedError, u"cut"_s);
    QTRY_COMPARE(bench.download.runningSectionCount(), 1);
    QVERIFY(bench.download.isRunning() && !bench.download.isStopping());
    QVERIFY(bench.logged(u"section #1 stopped (offset: 0, size: 307000, done: 100)"_s));
    bench.reply(1)->end(QNetworkReply::RemoteHostClosedError, u"cut"_s);
    QTRY_VERIFY(!bench.download.isRunning());
    QCOMPARE(bench.download.info().lastError.code, int(QNetworkReply::RemoteHostClosedError));
    QCOMPARE(bench.replies.size(), 2);
}

void TestWwwDownloadStop::lostCreatingSectionDoesNotEndTheRun()
{
    Bench bench;
    Record info = bench.record();
    info.destinationType = Record::ToMemory;
    bench.startAt(info);
    bench.begin(kTwoSections, QByteArray(100, 'a'), {{"Accept-Ranges"_ba, "bytes"_ba}});
    QCOMPARE(bench.replies.size(), 2);
    bench.reply(1)->sendHead(503);
    QVERIFY(bench.logged(u"removing creating section #2. Reason:stopped unexpectedly"_s));
    QVERIFY(bench.download.isRunning() && !bench.download.isStopping());
    QCOMPARE(bench.download.sections(true).size(), 1);
    bench.reply(0)->sendData(QByteArray(kTwoSections - 100, 'a'));
    bench.reply(0)->end();
    QTRY_VERIFY(!bench.download.isRunning());
    QVERIFY(bench.download.info().isFinished());
    QCOMPARE(bench.download.info().lastError, AbstractError());
    QCOMPARE(bench.download.info().content, QByteArray(kTwoSections, 'a'));
}

// The established section ends while the one in creation still waits for its answer; then that one turns out to be
// pointless, and taking it away is what ends the pack's run.
void TestWwwDownloadStop::removalOfTheLastSectionIsDecidedLater()
{
    Bench bench;
    Record info = bench.record();
    info.destinationType = Record::ToMemory;
    bench.startAt(info);
    bench.begin(kTwoSections, QByteArray(kTwoSections / 2 + 1000, 'a'), {{"Accept-Ranges"_ba, "bytes"_ba}});
    QCOMPARE(bench.replies.size(), 2);
    bench.reply(0)->end(QNetworkReply::RemoteHostClosedError, u"cut"_s);
    QTRY_COMPARE(bench.download.runningSectionCount(), 1);
    QCOMPARE(bench.timesLogged(u"sections running: 0"_s), 0);
    bench.beginRange(kTwoSections / 2, kTwoSections, {});
    QVERIFY(bench.logged(u"removing creating section #2. Reason:pointless"_s));
    QCOMPARE(bench.timesLogged(u"sections running: 0"_s), 1);
    QVERIFY(bench.download.isRunning());
    QTRY_VERIFY(!bench.download.isRunning());
    QCOMPARE(bench.timesLogged(u"sections running: 0"_s), 2);
    QCOMPARE(bench.download.info().lastError.code, int(QNetworkReply::RemoteHostClosedError));
    QCOMPARE(bench.download.info().files.first().sections, (Ranges{{0, kTwoSections, kTwoSections / 2 + 1000}}));
}

void TestWwwDownloadStop::runBegunWhileASectionIsRemovedKeepsItsOwn()
{
    Bench bench;
    Record info = bench.record();
    info.destinationType = Record::ToMemory;
    bench.startAt(info);
    bench.begin(kTwoSections, QByteArray(kTwoSections / 2 + 1000, 'a'), {{"Accept-Ranges"_ba, "bytes"_ba}});
    bench.reply(0)->end(QNetworkReply::RemoteHostClosedError, u"cut"_s);
    QTRY_COMPARE(bench.download.runningSectionCount(), 1);
    bool hasActed = false;
    connect(&bench.download, &WwwDownload::connectionsMapChangedDelta, &bench.download, [&] {
        if (std::exchange(hasActed, true))
            return;
        bench.download.stop({});
        bench.download.doCommand(Command::Restart);
    });
    bench.beginRange(kTwoSections / 2, kTwoSections, {});
    QVERIFY(hasActed);
    QVERIFY(bench.logged(u"removing creating section #2. Reason:pointless"_s));
    QVERIFY(bench.download.creatingSection());
    QVERIFY(bench.download.creatingSection()->isRunning());
}

void TestWwwDownloadStop::runBegunAsTheLastOneFinishesGoesOn()
{
    Bench bench;
    bench.startAt(bench.record());
    bench.onEvent = [&bench](const QString &) {
        if (!bench.download.info().isFinished())
            return;
        bench.onEvent = {};
        bench.download.doCommand(Command::Stop);
        bench.download.doCommand(Command::Restart);
    };
    bench.answer(kBody);
    QTRY_COMPARE(bench.replies.size(), 2);
    QVERIFY(bench.download.isRunning() && !bench.download.isStopping());
    bench.answer(kBody);
    QTRY_VERIFY(!bench.download.isRunning());
    QVERIFY(bench.download.info().isFinished());
    QCOMPARE(bench.content(u"file.bin"_s), kBody);
}

void TestWwwDownloadStop::restartInsideARestartLeavesOtherFilesAlone()
{
    Bench bench;
    QVERIFY(bench.write(u"file.bin"_s, "somebody's"_ba));
    bench.download.setInfo(bench.usedRecord());
    bench.onEvent = [&bench](const QString &event) {
        if (event != u"files 1"_s)
            return;
        bench.onEvent = {};
        bench.download.doCommand(Command::Stop);
        bench.download.doCommand(Command::Restart);
    };
    bench.download.doCommand(Command::Restart);
    QVERIFY(!bench.onEvent);
    QVERIFY(bench.download.isRunning());
    QCOMPARE(bench.content(u"file.bin"_s), "somebody's"_ba);
    QCOMPARE(bench.download.runningSectionCount(), 1);
    bench.playToTheEnd();
    QVERIFY(bench.download.info().isFinished());
    QCOMPARE(bench.content(u"file.bin"_s), "somebody's"_ba);
}

void TestWwwDownloadStop::queryThatWasStoppedLeavesNothingInTheWay()
{
    Bench bench;
    bench.startAt(bench.record(), Command::QueryInfo);
    QCOMPARE(bench.replies.size(), 1);
    bench.download.stop({});
    QVERIFY(!bench.download.isRunning());
    bench.download.doCommand(Command::Start);
    QCOMPARE(bench.replies.size(), 2);
    bench.answer(kBody);
    QTRY_VERIFY(!bench.download.isRunning());
    QVERIFY(bench.download.info().isFinished());
}

void TestWwwDownloadStop::receiversMayInterfereAnywhere_data()
{
    QTest::addColumn<Act>("act");
    QTest::addColumn<qsizetype>("place");
    const QStringList events = eventsOfRestart();
    for (qsizetype i = 0; i < events.size(); ++i) {
        const QByteArray name = QByteArray::number(i) + ", " + events.at(i).toUtf8();
        QTest::newRow("stop in event " + name)
            << Act([](WwwDownload &download) { download.doCommand(Command::Stop); }) << i;
        QTest::newRow("stop without an error in event " + name)
            << Act([](WwwDownload &download) { download.stop({}); }) << i;
        QTest::newRow("finish now in event " + name)
            << Act([](WwwDownload &download) { download.doCommand(Command::FinishNow); }) << i;
        QTest::newRow("start in event " + name)
            << Act([](WwwDownload &download) { download.doCommand(Command::Start); }) << i;
    }
}

void TestWwwDownloadStop::receiversMayInterfereAnywhere()
{
    QFETCH(Act, act);
    QFETCH(qsizetype, place);
    Bench bench;
    bench.download.setInfo(bench.usedRecord());
    bench.events.clear();
    bench.onEvent = [&](const QString &) {
        if (bench.events.size() == place + 1)
            act(bench.download);
    };
    bench.download.doCommand(Command::Restart);
    bench.playToTheEnd();
    QVERIFY(bench.events.size() > place);
    QVERIFY(!bench.download.isStopping() && !bench.download.isFinalizing());
    QCOMPARE(bench.download.runningSectionCount(), 0);
    QVERIFY(bench.download.findChildren<QTimer *>(QString(), Qt::FindDirectChildrenOnly).isEmpty());
    QVERIFY(bench.connections().isEmpty());
    QCOMPARE(bench.events.count(u"running 1"_s), bench.events.count(u"running 0"_s));
    QVERIFY(!bench.events.mid(bench.events.lastIndexOf(u"running 0"_s)).contains(u"files 1"_s));
    if (bench.download.info().isFinished() && bench.download.info().files.first().size > 0)
        QCOMPARE(bench.content(u"file.bin"_s), kBody);
}

void TestWwwDownloadStop::downloadMayBeDeletedAnywhere_data()
{
    QTest::addColumn<qsizetype>("place");
    const QStringList events = eventsOfRestart();
    for (qsizetype i = 0; i < events.size(); ++i)
        QTest::addRow("in event %d, %s", int(i), qPrintable(events.at(i))) << i;
}

void TestWwwDownloadStop::downloadMayBeDeletedAnywhere()
{
    QFETCH(qsizetype, place);
    DownloadFixture host;
    QPointer<WwwDownload> download =
        new WwwDownload(DownloadFixture::kDownloadId, host.chief, host.userAgents, nullptr);
    host.watch(download);
    download->setInfo(host.recordWithPart(20, QByteArray(5, 'o')));
    host.events.clear();
    host.onEvent = [&](const QString &) {
        if (host.events.size() == place + 1)
            download->deleteLater();
    };
    download->doCommand(Command::Restart);
    const auto isGone = [&] {
        if (FakeReply *const asked = host.reply(); asked && !asked->isFinished() && download && download->isRunning())
            host.answer(kBody);
        return !download || !download->isRunning();
    };
    QTRY_VERIFY(isGone());
    delete download;
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCOMPARE(host.chief->outCount(), 0);
}

QTEST_GUILESS_MAIN(TestWwwDownloadStop)
#include "tst_wwwdownload_stop.moc"
