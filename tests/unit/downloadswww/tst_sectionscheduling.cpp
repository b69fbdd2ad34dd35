// SPDX-License-Identifier: MIT
#include <inet/qt/download/downloadswww/sectionscheduling.h>

#include <QTest>

#include <limits>

using namespace SectionScheduling;

Q_DECLARE_METATYPE(SectionScheduling::ConnectionNumbers)
Q_DECLARE_METATYPE(SectionScheduling::CreateSituation)

namespace
{

constexpr qint64 kAllocatedEnough = std::numeric_limits<qint64>::max();
constexpr SplitSituation kTaken{};

/// Of a section that began at the start, with so many bytes left.
AbstractDownloadSection withLeft(qint64 left, qint64 offset = 0, qint64 done = 0)
{
    return {offset, left + done, done};
}

SplitSituation allocating(qint64 allocated)
{
    return {true, allocated};
}

/// A download that may create a section.
CreateSituation readyToCreate()
{
    CreateSituation situation;
    situation.hasFile = true;
    situation.fileSize = 1;
    return situation;
}

}

class TestSectionScheduling : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aSectionGivesUpPartOfItsRange_data();
    void aSectionGivesUpPartOfItsRange();
    void aSectionWhoseSpaceIsBeingTakenGivesUpWhatIsFarBehind_data();
    void aSectionWhoseSpaceIsBeingTakenGivesUpWhatIsFarBehind();
    void theParentKeepsWhatTheTailDoesNotTake_data();
    void theParentKeepsWhatTheTailDoesNotTake();

    void connectionsAreHeldAgainstTheLimits_data();
    void connectionsAreHeldAgainstTheLimits();

    void aSectionIsCreatedOnlyWhenNothingSpeaksAgainstIt_data();
    void aSectionIsCreatedOnlyWhenNothingSpeaksAgainstIt();
    void theFirstReasonDecides();
};

void TestSectionScheduling::aSectionGivesUpPartOfItsRange_data()
{
    QTest::addColumn<qint64>("offset");
    QTest::addColumn<qint64>("size");
    QTest::addColumn<qint64>("done");
    QTest::addColumn<qint64>("tailOffset"); // -1: it is not split
    QTest::addColumn<qint64>("tailSize");
    QTest::newRow("307199 bytes left are never split") << 0LL << 307199LL << 0LL << -1LL << -1LL;
    QTest::newRow("307200 bytes left are halved") << 0LL << 307200LL << 0LL << 153600LL << 153600LL;
    QTest::newRow("of 307201 bytes left the parent keeps one more") << 0LL << 307201LL << 0LL << 153601LL << 153600LL;
    QTest::newRow("what is done does not count: 307199 left") << 0LL << 307299LL << 100LL << -1LL << -1LL;
    QTest::newRow("what is done does not count: 307200 left") << 0LL << 307300LL << 100LL << 153700LL << 153600LL;
    QTest::newRow("what is done does not count: 307201 left") << 0LL << 307301LL << 100LL << 153701LL << 153600LL;
    QTest::newRow("the tail lies behind the parent's offset") << 1000LL << 400000LL << 0LL << 201000LL << 200000LL;
    QTest::newRow("a finished section") << 0LL << 400000LL << 400000LL << -1LL << -1LL;
    QTest::newRow("a section without a known end") << 0LL << -1LL << 0LL << -1LL << -1LL;
    QTest::newRow("a section without a known end that has begun") << 5LL << -1LL << 400000LL << -1LL << -1LL;
    QTest::newRow("an empty section") << 0LL << 0LL << 0LL << -1LL << -1LL;
    QTest::newRow("more than 4 GiB") << 0x100000000LL << 0x300000001LL << 1LL << 0x280000001LL << 0x180000000LL;
}

void TestSectionScheduling::aSectionGivesUpPartOfItsRange()
{
    QFETCH(qint64, offset);
    QFETCH(qint64, size);
    QFETCH(qint64, done);
    QFETCH(qint64, tailOffset);
    QFETCH(qint64, tailSize);
    AbstractDownloadSection tail{-1, -1, 0};
    QCOMPARE(splitSection({offset, size, done}, kTaken, &tail), tailOffset != -1);
    QCOMPARE(tail, (AbstractDownloadSection{tailOffset, tailSize, 0}));
}

void TestSectionScheduling::aSectionWhoseSpaceIsBeingTakenGivesUpWhatIsFarBehind_data()
{
    QTest::addColumn<qint64>("offset");
    QTest::addColumn<qint64>("left");
    QTest::addColumn<qint64>("done");
    QTest::addColumn<qint64>("allocated");
    QTest::addColumn<qint64>("tailSize"); // 0: it is not split
    QTest::newRow("62914559 bytes left are too few") << 0LL << 62914559LL << 0LL << kAllocatedEnough << 0LL;
    QTest::newRow("of 62914560 the parent keeps 31457280")
        << 0LL << 62914560LL << 0LL << kAllocatedEnough << 31457280LL;
    QTest::newRow("of 62914561 the parent keeps 31457280")
        << 0LL << 62914561LL << 0LL << kAllocatedEnough << 31457281LL;
    QTest::newRow("of 1 GB the parent keeps 31457280") << 0LL << 1000000000LL << 0LL << kAllocatedEnough << 968542720LL;
    QTest::newRow("space taken up to one byte before the look-ahead")
        << 0LL << 1000000000LL << 0LL << 136314878LL << 0LL;
    QTest::newRow("space taken up to the look-ahead") << 0LL << 1000000000LL << 0LL << 136314879LL << 0LL;
    QTest::newRow("space taken one byte beyond the look-ahead")
        << 0LL << 1000000000LL << 0LL << 136314880LL << 968542720LL;
    QTest::newRow("the look-ahead begins where the section is, and that is too far")
        << 700LL << 1000000000LL << 50LL << 136315629LL << 0LL;
    QTest::newRow("the look-ahead begins where the section is, and that is near enough")
        << 700LL << 1000000000LL << 50LL << 136315630LL << 968542720LL;
    QTest::newRow("it is not known how much space is taken") << 0LL << 1000000000LL << 0LL << -1LL << 0LL;
    QTest::newRow("no space is taken") << 0LL << 1000000000LL << 0LL << 0LL << 0LL;
}

void TestSectionScheduling::aSectionWhoseSpaceIsBeingTakenGivesUpWhatIsFarBehind()
{
    QFETCH(qint64, offset);
    QFETCH(qint64, left);
    QFETCH(qint64, done);
    QFETCH(qint64, allocated);
    QFETCH(qint64, tailSize);
    const AbstractDownloadSection parent = withLeft(left, offset, done);
    AbstractDownloadSection tail{-1, 0, 0};
    QCOMPARE(splitSection(parent, allocating(allocated), &tail), tailSize != 0);
    QCOMPARE(tail.size, tailSize);
    if (tailSize != 0)
        QCOMPARE(tail.end(), parent.end());
}

void TestSectionScheduling::theParentKeepsWhatTheTailDoesNotTake_data()
{
    QTest::addColumn<qint64>("left");
    QTest::addColumn<bool>("isAllocating");
    for (qint64 left = kMinimumLeftToSplit; left < kMinimumLeftToSplit + 3; ++left)
        QTest::addRow("%lld bytes", left) << left << false;
    for (qint64 left = kMinimumLeftWhileAllocating; left < kMinimumLeftWhileAllocating + 3; ++left)
        QTest::addRow("%lld bytes while the space is taken", left) << left << true;
}

void TestSectionScheduling::theParentKeepsWhatTheTailDoesNotTake()
{
    QFETCH(qint64, left);
    QFETCH(bool, isAllocating);
    const AbstractDownloadSection parent = withLeft(left, 17, 23);
    AbstractDownloadSection tail;
    QVERIFY(splitSection(parent, {isAllocating, kAllocatedEnough}, &tail));
    QVERIFY(tail.offset > parent.position());
    QVERIFY(tail.offset < parent.end());
    QCOMPARE(tail.end(), parent.end());
    QCOMPARE(tail.downloaded, 0);
}

void TestSectionScheduling::connectionsAreHeldAgainstTheLimits_data()
{
    QTest::addColumn<ConnectionNumbers>("numbers");
    QTest::addColumn<int>("place");
    QTest::addColumn<ConnectionLimit>("reason");
    using N = ConnectionNumbers;
    using L = ConnectionLimit;
    const auto row = [](const char *name, const N &numbers, int place, L reason) {
        QTest::newRow(name) << numbers << place << reason;
    };

    row("no limit, no section", N{}, -1, L::None);
    row("no limit, 19 sections", N{.runningSections = 19}, -1, L::None);
    row("20 sections are the most", N{.runningSections = 20}, 1, L::SectionsCap);
    row("21 sections are too many", N{.runningSections = 21}, 1, L::SectionsCap);
    row("20 sections are the most though the limit is higher", N{.runningSections = 20, .ownMaximum = 100}, 1,
        L::SectionsCap);
    row("19 sections below a limit of 20", N{.runningSections = 19, .ownMaximum = 20}, -1, L::None);
    row("the application's other connections count without a limit for nothing",
        N{.runningSections = 1, .applicationToNextServer = 500, .applicationTotal = 500}, -1, L::None);

    row("below the own limit", N{.runningSections = 3, .ownMaximum = 4, .applicationTotal = 3}, -1, L::None);
    row("at the own limit", N{.runningSections = 4, .ownMaximum = 4, .applicationTotal = 4}, 0, L::Connections);
    row("above the own limit", N{.runningSections = 5, .ownMaximum = 4, .applicationTotal = 5}, 1, L::Connections);
    row("below the global limit", N{.runningSections = 3, .globalMaximum = 4, .applicationTotal = 3}, -1, L::None);
    row("at the global limit", N{.runningSections = 4, .globalMaximum = 4, .applicationTotal = 4}, 0, L::Connections);
    row("above the global limit", N{.runningSections = 5, .globalMaximum = 4, .applicationTotal = 5}, 1,
        L::Connections);
    row("the smaller limit counts: the own one", N{.runningSections = 4, .ownMaximum = 4, .globalMaximum = 9}, 0,
        L::Connections);
    row("the smaller limit counts: the global one", N{.runningSections = 4, .ownMaximum = 9, .globalMaximum = 4}, 0,
        L::Connections);
    row("at the limit before the statistics know it", N{.runningSections = 4, .ownMaximum = 4}, 0, L::Connections);

    row("all downloads together below the limit", N{.runningSections = 1, .ownMaximum = 4, .applicationTotal = 3}, -1,
        L::None);
    row("all downloads together at the limit", N{.runningSections = 1, .ownMaximum = 4, .applicationTotal = 4}, 0,
        L::Connections);
    row("all downloads together above the limit", N{.runningSections = 1, .ownMaximum = 4, .applicationTotal = 5}, 1,
        L::Connections);
    row("above the limit in sum, though at it alone", N{.runningSections = 4, .ownMaximum = 4, .applicationTotal = 9},
        1, L::Connections);
    row("at the limit in sum, though at that of the server",
        N{.runningSections = 1, .ownMaximum = 4, .ownMaximumPerServer = 1, .ownToNextServer = 1, .applicationTotal = 4},
        0, L::Connections);

    row("below the own limit of a server", N{.runningSections = 1, .ownMaximumPerServer = 2, .ownToNextServer = 1}, -1,
        L::None);
    row("at the own limit of a server", N{.runningSections = 2, .ownMaximumPerServer = 2, .ownToNextServer = 2}, 0,
        L::ConnectionsPerServer);
    row("above the own limit of a server", N{.runningSections = 3, .ownMaximumPerServer = 2, .ownToNextServer = 3}, 1,
        L::ConnectionsPerServer);
    row("below the global limit of a server",
        N{.runningSections = 1, .globalMaximumPerServer = 2, .ownToNextServer = 1}, -1, L::None);
    row("at the global limit of a server", N{.runningSections = 2, .globalMaximumPerServer = 2, .ownToNextServer = 2},
        0, L::ConnectionsPerServer);
    row("above the global limit of a server",
        N{.runningSections = 3, .globalMaximumPerServer = 2, .ownToNextServer = 3}, 1, L::ConnectionsPerServer);
    row("the smaller limit of a server counts: the own one",
        N{.runningSections = 2, .ownMaximumPerServer = 2, .globalMaximumPerServer = 9, .ownToNextServer = 2}, 0,
        L::ConnectionsPerServer);
    row("the smaller limit of a server counts: the global one",
        N{.runningSections = 2, .ownMaximumPerServer = 9, .globalMaximumPerServer = 2, .ownToNextServer = 2}, 0,
        L::ConnectionsPerServer);
    row("all downloads together below the limit of a server",
        N{.runningSections = 1, .ownMaximumPerServer = 3, .applicationToNextServer = 2}, -1, L::None);
    row("all downloads together at the limit of a server",
        N{.runningSections = 1, .ownMaximumPerServer = 3, .applicationToNextServer = 3}, 0, L::ConnectionsPerServer);
    row("all downloads together above the limit of a server",
        N{.runningSections = 1, .ownMaximumPerServer = 3, .applicationToNextServer = 4}, 1, L::ConnectionsPerServer);
    row("at the limit of a server, below that of all",
        N{.runningSections = 2, .ownMaximum = 9, .ownMaximumPerServer = 2, .ownToNextServer = 2, .applicationTotal = 2},
        0, L::ConnectionsPerServer);
    row("above the limit of a server, at that of all",
        N{.runningSections = 4, .ownMaximum = 4, .ownMaximumPerServer = 2, .ownToNextServer = 3, .applicationTotal = 4},
        1, L::ConnectionsPerServer);
}

void TestSectionScheduling::connectionsAreHeldAgainstTheLimits()
{
    QFETCH(ConnectionNumbers, numbers);
    QFETCH(int, place);
    QFETCH(ConnectionLimit, reason);
    const ConnectionVerdict verdict = judgeConnections(numbers);
    QCOMPARE(verdict.place, place);
    QCOMPARE(int(verdict.reason), int(reason));
    QCOMPARE(verdict.isCapHit, reason == ConnectionLimit::SectionsCap);
}

void TestSectionScheduling::aSectionIsCreatedOnlyWhenNothingSpeaksAgainstIt_data()
{
    QTest::addColumn<CreateSituation>("situation");
    QTest::addColumn<int>("code");
    const auto row = [](const char *name, int code, void (*change)(CreateSituation &)) {
        CreateSituation situation = readyToCreate();
        change(situation);
        QTest::newRow(name) << situation << code;
    };
    row("nothing speaks against it", 0, [](CreateSituation &) {});
    row("the first section needs nothing", 0, [](CreateSituation &s) {
        s = {};
        s.isPackEmpty = true;
        s.noMoreSections = true;
        s.isCreating = true;
        s.isResumeNotSupported = true;
        s.connections = {1, true, ConnectionLimit::SectionsCap};
    });
    row("an earlier one proved pointless", 1, [](CreateSituation &s) { s.noMoreSections = true; });
    row("one is being created", 2, [](CreateSituation &s) { s.isCreating = true; });
    row("ranges are not honoured", 3, [](CreateSituation &s) { s.isResumeNotSupported = true; });
    row("there is no file", 4, [](CreateSituation &s) { s.hasFile = false; });
    row("the size is unknown", 7, [](CreateSituation &s) { s.fileSize = -1; });
    row("a file of no bytes", 0, [](CreateSituation &s) { s.fileSize = 0; });
    row("20 sections run", 5, [](CreateSituation &s) { s.connections = {1, true, ConnectionLimit::SectionsCap}; });
    row("at a limit", 6, [](CreateSituation &s) { s.connections = {0, false, ConnectionLimit::Connections}; });
    row("above a limit", 6, [](CreateSituation &s) { s.connections = {1, false, ConnectionLimit::Connections}; });
}

void TestSectionScheduling::aSectionIsCreatedOnlyWhenNothingSpeaksAgainstIt()
{
    QFETCH(CreateSituation, situation);
    QFETCH(int, code);
    QCOMPARE(int(judgeCreation(situation)), code);
}

void TestSectionScheduling::theFirstReasonDecides()
{
    CreateSituation situation;
    situation.noMoreSections = true;
    situation.isCreating = true;
    situation.isResumeNotSupported = true;
    situation.hasFile = false;
    situation.fileSize = -1;
    situation.connections = {1, true, ConnectionLimit::SectionsCap};
    QCOMPARE(int(judgeCreation(situation)), 1);
    situation.noMoreSections = false;
    QCOMPARE(int(judgeCreation(situation)), 2);
    situation.isCreating = false;
    QCOMPARE(int(judgeCreation(situation)), 3);
    situation.isResumeNotSupported = false;
    QCOMPARE(int(judgeCreation(situation)), 4);
    situation.hasFile = true;
    QCOMPARE(int(judgeCreation(situation)), 7);
    situation.fileSize = 1;
    QCOMPARE(int(judgeCreation(situation)), 5);
}

QTEST_GUILESS_MAIN(TestSectionScheduling)
#include "tst_sectionscheduling.moc"
