// SPDX-License-Identifier: MIT
#include <tests/unit/downloadswww/schedulingbench.h>

#include <QTest>

using namespace Qt::StringLiterals;

using Command = AbstractDownloadCommand;
using Ranges = QList<AbstractDownloadSection>;
using Record = AbstractDownloadPersistentInfo;
using Change = SchedulingBench::Change;
Q_DECLARE_METATYPE(Change)

namespace
{

/// Large enough for two sections, too small for three.
constexpr qint64 kTwoSections = 614000;
constexpr qint64 kHalf = kTwoSections / 2;
constexpr qint64 kManySections = 8000000;

}

class TestWwwDownloadSections : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aSectionWithEnoughLeftIsHalved_data();
    void aSectionWithEnoughLeftIsHalved();
    void theSectionInCreationSortsLast();
    void twentySectionsRunWhateverTheLimitsSay();
    void aResourceOfUnknownSizeHasOneSection();

    void resumeIsTestedOnceThoughALimitIsReached_data();
    void resumeIsTestedOnceThoughALimitIsReached();
    void theTestedSectionStaysWhereThereIsRoomByThen();
    void aWholeAnswerToTheTestEndsSplitting();

    void aSectionThatItsParentHasReachedIsPointless_data();
    void aSectionThatItsParentHasReachedIsPointless();
    void afterAPointlessSectionNoneIsMadeUntilTheNextStart();
    void aSectionWithoutParentIsRemoved();
    void aFirstSectionThatFailsLeavesItsError();
    void aRefusedSectionIsTriedAgainLater();
    void aSectionWhoseParentIsFinishedIsRemoved();
    void aSectionWhoseParentIsMergedAwayIsRemoved();

    void finishedNeighboursBecomeOne_data();
    void finishedNeighboursBecomeOne();

    void aConnectionThatAnotherDownloadGivesUpIsTaken();
    void givenUpConnectionsAreNotTakenIntoMemory();
    void aStoppedDownloadTakesNoConnections();
    void aHigherLimitIsUsedAtOnce();
    void aLowerLimitEndsNoSection();

    void aSectionIsNotSplitBeforeItsSpaceIsTaken();
    void aLargeSectionIsSplitWhereSpaceIsTakenFarEnough();

    void aCutSectionGoesOnWhenAnotherHasFinished();
    void aSectionThatFailsOnTheDiskEndsSplitting();

    void detailsTellTheConnectionsAndTheirBound_data();
    void detailsTellTheConnectionsAndTheirBound();
    void detailsAreThoseOfTheLastRun();
};

void TestWwwDownloadSections::aSectionWithEnoughLeftIsHalved_data()
{
    QTest::addColumn<qint64>("size");
    QTest::addColumn<Ranges>("halves");
    QTest::newRow("307199 bytes stay whole") << qint64(307199) << Ranges{{0, 307199, 0}};
    QTest::newRow("307200 bytes are halved") << qint64(307200) << Ranges{{0, 153600, 0}, {153600, 153600, 0}};
    QTest::newRow("of 307201 the parent keeps one more")
        << qint64(307201) << Ranges{{0, 153601, 0}, {153601, 153600, 0}};
}

void TestWwwDownloadSections::aSectionWithEnoughLeftIsHalved()
{
    QFETCH(qint64, size);
    QFETCH(Ranges, halves);
    SchedulingBench bench(size);
    bench.start(bench.inMemory());
    bench.admit(1);
    const bool isSplit = halves.size() == 2;
    QCOMPARE(bench.creatingId(), isSplit ? 2 : 0);
    QCOMPARE(bench.download.sections(false).size(), 1);
    QCOMPARE(bench.ranges().first(), (AbstractDownloadSection{0, size, 0}));
    if (isSplit) {
        const qint64 offset = halves.last().offset;
        QVERIFY(bench.logged(u"creating section: #2(offset:%1, size:153600)"_s.arg(offset)));
        bench.admit(2);
        QCOMPARE(bench.rangeOfRequest(2), "bytes=" + QByteArray::number(offset) + '-');
    }
    QCOMPARE(bench.creatingId(), 0);
    QCOMPARE(bench.ranges(), halves);
    QCOMPARE(bench.recordedRanges(), isSplit ? halves : bench.recordedRanges());
    bench.runToTheEnd();
    QCOMPARE(bench.requestCount(), halves.size());
}

void TestWwwDownloadSections::theSectionInCreationSortsLast()
{
    SchedulingBench bench(500000);
    bench.start(bench.inMemory({{0, 400000, 0}, {400000, 100000, 0}}));
    bench.admit(1);
    bench.admit(2);
    QCOMPARE(bench.creatingId(), 3);
    QCOMPARE(bench.ranges(), (Ranges{{0, 400000, 0}, {400000, 100000, 0}, {200000, 200000, 0}}));
    QCOMPARE(bench.download.sections(false).size(), 2);
    QCOMPARE(int(bench.download.mayCreateSection()), 2);
    bench.admit(3);
    QCOMPARE(bench.ranges(), (Ranges{{0, 200000, 0}, {200000, 200000, 0}, {400000, 100000, 0}}));
    QCOMPARE(bench.recordedRanges(), bench.ranges());
    bench.runToTheEnd();
}

void TestWwwDownloadSections::twentySectionsRunWhateverTheLimitsSay()
{
    SchedulingBench bench(kManySections, SchedulingBench::openHeads);
    bench.limit(100, 100);
    bench.start(bench.resumable());
    QVERIFY(bench.server.waitForHeld(SchedulingBench::anyBody(), 20));
    QTRY_VERIFY(bench.logged(u"section #20 got ok response"_s));
    bool isCapHit = false;
    QCOMPARE(bench.download.checkConnectionsLimit(&isCapHit), 1);
    QVERIFY(isCapHit);
    QCOMPARE(int(bench.download.mayCreateSection()), 5);
    QCOMPARE(bench.download.runningSectionCount(), 20);
    QCOMPARE(bench.creatingId(), 0);
    QCOMPARE(bench.details().mostConnections, 20);
    QCOMPARE(int(bench.details().bound), int(ConnectionsBound::SectionsCap));
    bench.runToTheEnd();
}

void TestWwwDownloadSections::aResourceOfUnknownSizeHasOneSection()
{
    SchedulingBench bench(kManySections, SchedulingBench::tellNoSize);
    bench.start(bench.resumable());
    bench.admit(1);
    QCOMPARE(int(bench.download.mayCreateSection()), 7);
    QCOMPARE(bench.creatingId(), 0);
    bench.runToTheEnd();
    QCOMPARE(bench.requestCount(), 1);
}

void TestWwwDownloadSections::resumeIsTestedOnceThoughALimitIsReached_data()
{
    QTest::addColumn<NetworkUsageSettings>("own");
    QTest::addColumn<NetworkUsageSettings>("global");
    using Settings = NetworkUsageSettings;
    QTest::newRow("its own") << Settings{.maximumConnections = 1} << Settings{};
    QTest::newRow("that of all downloads") << Settings{} << Settings{.maximumConnections = 1};
    QTest::newRow("its own for a server") << Settings{.maximumConnectionsPerServer = 1} << Settings{};
    QTest::newRow("that of all downloads for a server") << Settings{} << Settings{.maximumConnectionsPerServer = 1};
}

void TestWwwDownloadSections::resumeIsTestedOnceThoughALimitIsReached()
{
    QFETCH(NetworkUsageSettings, own);
    QFETCH(NetworkUsageSettings, global);
    SchedulingBench bench(kTwoSections);
    bench.chief->setUsageSettings(global);
    bench.download.setNetworkUsageSettings(own);
    bench.start(bench.inMemory());
    bench.admit(1);
    QCOMPARE(bench.timesLogged(u"forcibly testing resume support"_s), 1);
    QCOMPARE(bench.creatingId(), 2);
    bench.admit(2);
    QVERIFY(bench.wasRemoved(2, u"too many connections"_s));
    QCOMPARE(bench.ranges(), (Ranges{{0, kTwoSections, 0}}));
    QCOMPARE(bench.download.info().resumeSupport, Record::ResumeSupported);
    QCOMPARE(bench.connectionsOfAll(), 1);
    QCOMPARE(int(bench.download.mayCreateSection()), 6);
    bench.runToTheEnd();
    QCOMPARE(bench.timesLogged(u"forcibly testing resume support"_s), 1);
    QCOMPARE(bench.requestCount(), 2);
    QCOMPARE(bench.details().mostConnections, 1);
}

void TestWwwDownloadSections::theTestedSectionStaysWhereThereIsRoomByThen()
{
    SchedulingBench bench(kTwoSections);
    OtherDownload other(bench);
    bench.chief->setUsageSettings({.maximumConnections = 2});
    bench.start(bench.inMemory());
    bench.admit(1);
    QVERIFY(bench.logged(u"forcibly testing resume support"_s));
    QCOMPARE(bench.download.checkConnectionsLimit(nullptr), 1);
    other.stop();
    QTRY_COMPARE(bench.connectionsOfAll(), 2);
    QCOMPARE(bench.download.checkConnectionsLimit(nullptr), 0);
    bench.admit(2);
    QCOMPARE(bench.creatingId(), 0);
    QCOMPARE(bench.ranges(), (Ranges{{0, kHalf, 0}, {kHalf, kHalf, 0}}));
    bench.runToTheEnd();
}

void TestWwwDownloadSections::aWholeAnswerToTheTestEndsSplitting()
{
    SchedulingBench bench(kTwoSections, SchedulingBench::answerSecondWithTheWhole);
    bench.limit(1);
    bench.start(bench.inMemory());
    bench.admit(1);
    QCOMPARE(bench.creatingId(), 2);
    bench.server.release(SchedulingBench::head(2));
    QTRY_VERIFY(bench.wasRemoved(2, u"stopped unexpectedly"_s));
    QCOMPARE(bench.download.info().resumeSupport, Record::ResumeNotSupported);
    bench.limit(0);
    QCOMPARE(int(bench.download.mayCreateSection()), 3);
    bench.runToTheEnd();
    QCOMPARE(bench.requestCount(), 2);
}

void TestWwwDownloadSections::aSectionThatItsParentHasReachedIsPointless_data()
{
    QTest::addColumn<qint64>("done");
    QTest::addColumn<bool>("isPointless");
    QTest::newRow("its first byte comes next") << kHalf << true;
    QTest::newRow("it is in the middle of it") << kHalf + 1000 << true;
    QTest::newRow("one byte is missing before it") << kHalf - 1 << false;
}

void TestWwwDownloadSections::aSectionThatItsParentHasReachedIsPointless()
{
    QFETCH(qint64, done);
    QFETCH(bool, isPointless);
    PlayedBench bench;
    bench.begin(kTwoSections, Record::ToMemory, done);
    QTRY_COMPARE(bench.download.bytesDownloaded(), done);
    QCOMPARE(bench.replies.size(), 2);
    bench.beginRange(kHalf, kTwoSections, {});
    QCOMPARE(bench.timesLogged(u"removing creating section #2. Reason:pointless"_s), int(isPointless));
    QCOMPARE(bench.download.sections(false).first()->section(),
             (AbstractDownloadSection{0, isPointless ? kTwoSections : kHalf, done}));
    QCOMPARE(bench.download.sections(true).size(), isPointless ? 1 : 2);
    QCOMPARE(int(bench.download.mayCreateSection()), isPointless ? 1 : 0);
    QVERIFY(bench.download.isRunning());
}

void TestWwwDownloadSections::afterAPointlessSectionNoneIsMadeUntilTheNextStart()
{
    PlayedBench bench;
    bench.begin(2 * kTwoSections, Record::ToMemory, kTwoSections);
    QTRY_COMPARE(bench.download.bytesDownloaded(), kTwoSections);
    bench.beginRange(kTwoSections, 2 * kTwoSections, {});
    QVERIFY(bench.logged(u"removing creating section #2. Reason:pointless"_s));
    bench.download.doCommand(Command::Stop);
    QTRY_VERIFY(!bench.download.isRunning());
    QCOMPARE(bench.replies.size(), 2);

    bench.download.doCommand(Command::Start);
    QCOMPARE(bench.reply()->request().rawHeader("Range"), "bytes=614000-"_ba);
    bench.beginRange(kTwoSections, 2 * kTwoSections, {});
    QCOMPARE(bench.replies.size(), 4);
    QCOMPARE(bench.download.creatingSection()->section(), (AbstractDownloadSection{kTwoSections + kHalf, kHalf, 0}));
}

// The ends of sections move only when finished neighbours are added to them.
void TestWwwDownloadSections::aSectionWithoutParentIsRemoved()
{
    SchedulingBench bench(kTwoSections);
    bench.start(bench.inMemory());
    bench.admit(1);
    QCOMPARE(bench.creatingId(), 2);
    bench.download.section(1)->onCompactSections(1);
    bench.admit(2);
    QVERIFY(bench.wasRemoved(2, u"no parent section found"_s));
    QCOMPARE(bench.download.sections(true).size(), 1);
    QCOMPARE(int(bench.download.mayCreateSection()), 1);
    QVERIFY(bench.download.isRunning());
}

void TestWwwDownloadSections::aFirstSectionThatFailsLeavesItsError()
{
    for (const bool isQuery : {true, false}) {
        SchedulingBench bench(kTwoSections, SchedulingBench::refuse);
        bench.start(bench.inMemory(), isQuery ? Command::QueryInfo : Command::Start);
        QTRY_VERIFY(!bench.download.isRunning());
        QVERIFY(bench.wasRemoved(1, isQuery ? u"failed to start"_s : u"stopped unexpectedly"_s));
        QCOMPARE(bench.download.info().lastError.code, 503);
        QVERIFY(bench.download.lastErrorTime().isValid());
        QVERIFY(bench.download.sections(true).isEmpty());
    }
}

void TestWwwDownloadSections::aRefusedSectionIsTriedAgainLater()
{
    SchedulingBench bench(2 * kTwoSections, SchedulingBench::refuseThird);
    bench.start(bench.inMemory());
    bench.admit(1);
    bench.admit(2);
    QTRY_VERIFY(bench.wasRemoved(3, u"stopped unexpectedly"_s));
    QCOMPARE(int(bench.download.mayCreateSection()), 0);
    QCOMPARE(bench.ranges(), (Ranges{{0, kTwoSections, 0}, {kTwoSections, kTwoSections, 0}}));
    bench.release({2});
    QTRY_COMPARE(bench.creatingId(), 4);
    QCOMPARE(bench.download.creatingSection()->section(), (AbstractDownloadSection{kHalf, kHalf, 0}));
    bench.admit(4);
    bench.runToTheEnd();
}

void TestWwwDownloadSections::aSectionWhoseParentIsFinishedIsRemoved()
{
    SchedulingBench bench(kTwoSections);
    bench.start(bench.inMemory());
    bench.admit(1);
    QVERIFY(bench.server.waitForHeld(SchedulingBench::head(2)));
    bench.release({1});
    QTRY_VERIFY(bench.wasRemoved(2, u"the whole parent section is already finished"_s));
    bench.runToTheEnd();
    QVERIFY(bench.connections().isEmpty());
    QVERIFY(!bench.logged(u"section #2 got ok response"_s));
}

// As it is when a section's neighbour ends before the news of its own end has come.
void TestWwwDownloadSections::aSectionWhoseParentIsMergedAwayIsRemoved()
{
    SchedulingBench bench(1000000);
    bench.start(bench.inMemory({{0, 400000, 0}, {400000, 600000, 0}}));
    bench.admit(1);
    bench.admit(2);
    QCOMPARE(bench.creatingId(), 3);
    const auto parent = bench.download.section(2);
    parent->blockSignals(true);
    bench.release({2});
    QTRY_VERIFY(parent->isFinished());
    QCOMPARE(bench.creatingId(), 3);
    bench.release({1});
    QTRY_VERIFY(bench.wasRemoved(3, u"parent section(s) are finished"_s));
    QVERIFY(!bench.download.section(2));
    QCOMPARE(bench.ranges(), (Ranges{{0, 1000000, 1000000}}));
    bench.runToTheEnd();
}

void TestWwwDownloadSections::finishedNeighboursBecomeOne_data()
{
    QTest::addColumn<QList<int>>("finished");
    QTest::addColumn<Ranges>("recorded");
    const AbstractDownloadSection last{600000, 300000, 0};
    QTest::newRow("one has no finished neighbour")
        << QList<int>{2} << Ranges{{0, 300000, 0}, {300000, 300000, 300000}, last};
    QTest::newRow("the earlier one finishes last") << QList<int>{2, 1} << Ranges{{0, 600000, 600000}, last};
    QTest::newRow("the later one finishes last") << QList<int>{1, 2} << Ranges{{0, 600000, 600000}, last};
    QTest::newRow("two with one between them stay apart")
        << QList<int>{1, 3} << Ranges{{0, 300000, 300000}, {300000, 300000, 0}, {600000, 300000, 300000}};
}

void TestWwwDownloadSections::finishedNeighboursBecomeOne()
{
    QFETCH(QList<int>, finished);
    QFETCH(Ranges, recorded);
    SchedulingBench bench(900000);
    bench.start(bench.inMemory({{0, 300000, 0}, {300000, 300000, 0}, {600000, 300000, 0}}));
    for (int number = 1; number <= 3; ++number)
        bench.admit(number);
    for (qsizetype i = 0; i < finished.size(); ++i) {
        bench.release({finished.at(i)});
        QTRY_COMPARE(bench.download.runningSectionCount(), 2 - i);
    }
    QCOMPARE(bench.recordedRanges(), recorded);
    QCOMPARE(bench.ranges(), recorded);
    bench.runToTheEnd();
    QCOMPARE(bench.requestCount(), 3);
}

void TestWwwDownloadSections::aConnectionThatAnotherDownloadGivesUpIsTaken()
{
    SchedulingBench bench(kTwoSections);
    OtherDownload other(bench);
    bench.chief->setUsageSettings({.maximumConnections = 2});
    bench.start(bench.resumable(Record::ToFolder));
    bench.admit(1);
    QTRY_VERIFY(bench.logged(u"file is allocated"_s));
    QCOMPARE(int(bench.download.mayCreateSection()), 6);
    QCOMPARE(bench.creatingId(), 0);
    other.stop();
    QTRY_COMPARE(bench.creatingId(), 2);
    bench.runToTheEnd();
    QCOMPARE(bench.requestCount(), 2);
}

void TestWwwDownloadSections::givenUpConnectionsAreNotTakenIntoMemory()
{
    SchedulingBench bench(kTwoSections);
    OtherDownload other(bench);
    bench.chief->setUsageSettings({.maximumConnections = 2});
    bench.start(bench.resumable(Record::ToMemory));
    bench.admit(1);
    bool isTold = false;
    connect(bench.chief->consumersStats(), &AbstractNetworkConsumersStats::connectionsMapChangedDelta, &bench.download,
            [&isTold](const QtConnectionsMap &delta) { isTold |= unitedEntry(delta).count < 0; });
    other.stop();
    QTRY_VERIFY(isTold);
    QCOMPARE(int(bench.download.mayCreateSection()), 0);
    QCOMPARE(bench.creatingId(), 0);
    bench.runToTheEnd();
    QCOMPARE(bench.requestCount(), 1);
}

void TestWwwDownloadSections::aStoppedDownloadTakesNoConnections()
{
    SchedulingBench bench(kTwoSections);
    bench.limit(1);
    bench.start(bench.resumable(Record::ToFolder));
    bench.admit(1);
    QTRY_VERIFY(bench.logged(u"file is allocated"_s));
    bench.download.doCommand(Command::Stop);
    bench.limit(5);
    QCOMPARE(bench.creatingId(), 0);
    QTRY_VERIFY(!bench.download.isRunning());
    bench.limit(6);
    QCOMPARE(bench.creatingId(), 0);
    QCOMPARE(bench.requestCount(), 1);
}

void TestWwwDownloadSections::aHigherLimitIsUsedAtOnce()
{
    SchedulingBench bench(2 * kTwoSections);
    bench.limit(1);
    bench.start(bench.resumable(Record::ToFolder));
    bench.admit(1);
    QTRY_VERIFY(bench.logged(u"file is allocated"_s));
    QCOMPARE(bench.download.checkConnectionsLimit(nullptr), 0);
    bench.limit(1);
    QCOMPARE(bench.creatingId(), 0);
    bench.limit(3);
    QCOMPARE(bench.creatingId(), 2);
    bench.admit(2);
    QCOMPARE(bench.creatingId(), 3);
    bench.admit(3);
    QCOMPARE(bench.creatingId(), 0);
    QCOMPARE(bench.download.checkConnectionsLimit(nullptr), 0);
    bench.limit(0);
    QCOMPARE(bench.creatingId(), 4);
    bench.runToTheEnd();
}

void TestWwwDownloadSections::aLowerLimitEndsNoSection()
{
    SchedulingBench bench(4000000);
    bench.limit(4);
    bench.start(bench.resumable());
    for (int number = 1; number <= 4; ++number)
        bench.admit(number);
    QCOMPARE(bench.rangeOfRequest(3), "bytes=1000000-"_ba);
    QCOMPARE(bench.rangeOfRequest(4), "bytes=3000000-"_ba);
    bench.limit(2);
    QCOMPARE(bench.download.runningSectionCount(), 4);
    QCOMPARE(bench.download.checkConnectionsLimit(nullptr), 1);
    for (const int finished : {4, 3}) {
        bench.release({finished});
        QTRY_COMPARE(bench.download.runningSectionCount(), finished - 1);
        QCOMPARE(bench.creatingId(), 0);
    }
    bench.release({2});
    QTRY_COMPARE(bench.creatingId(), 5);
    QCOMPARE(bench.download.creatingSection()->section(), (AbstractDownloadSection{500000, 500000, 0}));
    bench.runToTheEnd();
}

void TestWwwDownloadSections::aSectionIsNotSplitBeforeItsSpaceIsTaken()
{
    PlayedBench bench;
    bench.begin(kTwoSections, Record::ToFolder);
    QVERIFY(bench.logged(u"section #1 got ok response"_s));
    QCOMPARE(int(bench.download.mayCreateSection()), 0);
    QCOMPARE(bench.replies.size(), 1);
    QCOMPARE(int(bench.bound()), int(ConnectionsBound::SpaceNotTaken));
    QTRY_COMPARE(bench.replies.size(), 2);
    QVERIFY(bench.logged(u"file is allocated"_s));
    QCOMPARE(bench.reply()->request().rawHeader("Range"), "bytes=307000-"_ba);
}

void TestWwwDownloadSections::aLargeSectionIsSplitWhereSpaceIsTakenFarEnough()
{
    PlayedBench bench;
    bench.begin(200000000, Record::ToFolder);
    const auto section = bench.download.sections(false).first();
    Q_EMIT section->preallocatingFile(136314879);
    QCOMPARE(bench.replies.size(), 1);
    Q_EMIT section->preallocatingFile(136314880);
    QCOMPARE(bench.replies.size(), 2);
    QVERIFY(bench.logged(u"currently allocated file size: 136314880"_s));
    QCOMPARE(bench.download.creatingSection()->section(), (AbstractDownloadSection{31457280, 168542720, 0}));
    QCOMPARE(bench.reply()->request().rawHeader("Range"), "bytes=31457280-"_ba);
    bench.download.doCommand(Command::Stop);
    QTRY_VERIFY(!bench.download.isRunning());
}

void TestWwwDownloadSections::aCutSectionGoesOnWhenAnotherHasFinished()
{
    SchedulingBench bench(kTwoSections, [](int number, ScriptedResponse &response) {
        if (number == 1)
            response.cutAfter = 100000;
    });
    bench.start(bench.inMemory());
    bench.admit(1);
    bench.admit(2);
    bench.release({1});
    QTRY_COMPARE(bench.download.runningSectionCount(), 1);
    QVERIFY(bench.logged(u"section #1 stopped (offset: 0, size: 307000, done: 100000)"_s));
    QVERIFY(bench.download.section(1)->lastError());
    QCOMPARE(bench.download.lastError(), AbstractError());
    QCOMPARE(bench.requestCount(), 2);
    bench.release({2});
    QVERIFY(bench.server.waitForRequests(3));
    QCOMPARE(bench.rangeOfRequest(3), "bytes=100000-"_ba);
    bench.runToTheEnd();
    QCOMPARE(bench.requestCount(), 3);
}

void TestWwwDownloadSections::aSectionThatFailsOnTheDiskEndsSplitting()
{
    SchedulingBench bench(2 * kTwoSections);
    bench.limit(2);
    bench.start(bench.resumable());
    bench.admit(1);
    bench.admit(2);
    const AbstractError full(5, ErrorCategory::kFile, "s", "full");
    bench.download.section(1)->stop(full, true);
    QTRY_COMPARE(bench.download.runningSectionCount(), 1);
    QCOMPARE(int(bench.download.mayCreateSection()), 1);
    QVERIFY(bench.download.isRunning() && !bench.download.isStopping());
    bench.release({2});
    QTRY_VERIFY(!bench.download.isRunning());
    QCOMPARE(bench.download.info().lastError, full);
    QCOMPARE(bench.recordedRanges(), (Ranges{{0, kTwoSections, 0}, {kTwoSections, kTwoSections, kTwoSections}}));
    QCOMPARE(bench.requestCount(), 2);
}

void TestWwwDownloadSections::detailsTellTheConnectionsAndTheirBound_data()
{
    QTest::addColumn<qint64>("size");
    QTest::addColumn<NetworkUsageSettings>("limits");
    QTest::addColumn<Change>("change");
    QTest::addColumn<int>("connections");
    QTest::addColumn<ConnectionsBound>("bound");
    using Bound = ConnectionsBound;
    const NetworkUsageSettings none;
    const auto row = [](
                         const char *name, qint64 size, const NetworkUsageSettings &limits, int connections,
                         Bound bound, const Change &change = [](int, ScriptedResponse &) {}) {
        QTest::newRow(name) << size << limits << change << connections << bound;
    };
    row("a limit of three", kManySections, {.maximumConnections = 3}, 3, Bound::Connections);
    row("two to a server", kManySections, {.maximumConnectionsPerServer = 2}, 2, Bound::ConnectionsPerServer);
    row("a small file", 307199, none, 1, Bound::TooSmallToSplit);
    row("a file of two sections", kTwoSections, none, 2, Bound::TooSmallToSplit);
    row("no size", kManySections, none, 1, Bound::SizeUnknown, SchedulingBench::tellNoSize);
    row("no ranges", kManySections, none, 1, Bound::RangesNotHonoured,
        [](int, ScriptedResponse &response) { response.honoursRanges = false; });
    row("ranges that are not honoured after all", kManySections, none, 1, Bound::RangesNotHonoured,
        SchedulingBench::answerSecondWithTheWhole);
    row("a third that is refused", kManySections, none, 2, Bound::AnotherFailed, SchedulingBench::refuseThird);
}

void TestWwwDownloadSections::detailsTellTheConnectionsAndTheirBound()
{
    QFETCH(qint64, size);
    QFETCH(NetworkUsageSettings, limits);
    QFETCH(Change, change);
    QFETCH(int, connections);
    QFETCH(ConnectionsBound, bound);
    SchedulingBench bench(size, [change](int number, ScriptedResponse &response) {
        SchedulingBench::openHeads(number, response);
        change(number, response);
    });
    bench.download.setNetworkUsageSettings(limits);
    QCOMPARE(bench.details().mostConnections, 0);
    bench.start(bench.resumable());
    QTRY_COMPARE(int(bench.details().bound), int(bound));
    QCOMPARE(bench.details().mostConnections, connections);
    QCOMPARE(unitedEntry(bench.download.connectionsMap()).count, connections);
    bench.runToTheEnd();
}

void TestWwwDownloadSections::detailsAreThoseOfTheLastRun()
{
    SchedulingBench bench(kTwoSections, SchedulingBench::openHeads);
    bench.start(bench.resumable());
    QTRY_COMPARE(int(bench.details().bound), int(ConnectionsBound::TooSmallToSplit));
    bench.runToTheEnd();
    QCOMPARE(bench.details().mostConnections, 2);
    QCOMPARE(int(bench.details().bound), int(ConnectionsBound::TooSmallToSplit));
    bench.server.shut(SchedulingBench::anyBody());
    bench.limit(1);
    bench.download.doCommand(Command::Restart);
    QCOMPARE(bench.details().mostConnections, 0);
    QCOMPARE(int(bench.details().bound), int(ConnectionsBound::None));
    QTRY_COMPARE(int(bench.details().bound), int(ConnectionsBound::Connections));
    QCOMPARE(bench.details().mostConnections, 1);
    bench.runToTheEnd();
}

QTEST_GUILESS_MAIN(TestWwwDownloadSections)
#include "tst_wwwdownload_scheduling.moc"
