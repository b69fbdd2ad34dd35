// SPDX-License-Identifier: MIT
#include <inet/qt/download/downloadswww/sectionplan.h>

#include <QTest>

using namespace Qt::StringLiterals;

using Section = SectionPlan::Section;
using Sections = SectionPlan::Sections;
using Situation = SectionPlan::Situation;
using Confirmation = SectionPlan::Confirmation;
using SectionScheduling::CreateVerdict;

Q_DECLARE_METATYPE(Section)
Q_DECLARE_METATYPE(Situation)

namespace
{

constexpr qint64 kMany = 1'000'000;
constexpr qint64 kGigabyte = 1024 * 1024 * 1024;

Section running(qint64 id, qint64 offset, qint64 size, qint64 downloaded = 0)
{
    return {id, {offset, size, downloaded}, true, false};
}

Section idle(qint64 id, qint64 offset, qint64 size, qint64 downloaded = 0)
{
    return {id, {offset, size, downloaded}, false, false};
}

Section finished(qint64 id, qint64 offset, qint64 size)
{
    return {id, {offset, size, size}, false, true};
}

Situation withFile(qint64 size, bool isAllocating = false)
{
    Situation situation;
    situation.hasFile = true;
    situation.fileSize = size;
    situation.isAllocating = isAllocating;
    return situation;
}

QList<qint64> ids(const Sections &sections)
{
    QList<qint64> result;
    for (const Section &section : sections)
        result.append(section.id);
    return result;
}

/// A plan with that section in creation.
SectionPlan creating(qint64 id)
{
    SectionPlan plan;
    plan.startCreating(id);
    return plan;
}

}

class TestSectionPlan : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void idsNeverComeAgain();
    void theFirstSectionIsTheWholeResource();
    void whoHasMostToDoGivesUpItsTail_data();
    void whoHasMostToDoGivesUpItsTail();
    void whatIsNotCutHasAReason_data();
    void whatIsNotCutHasAReason();
    void spaceTakenOnDiskMakesRoomForACut();
    void nothingIsCutWhileASectionIsInCreation();
    void theSectionInCreationSortsLast();
    void whatWaitsIsStartedFirst();
    void anAnswerConfirmsOrNot_data();
    void anAnswerConfirmsOrNot();
    void whatProvedPointlessIsNotTriedAgainInThisRun();
    void aForcedTestGivesWayToTheLimit();
    void resumeIsTestedOnce();
    void aLimitThatMayNotBeTestedIsWaitedFor();
    void aConfirmedSectionGetsTheTailOfTheOneBefore();
    void finishedNeighboursBecomeOne();
    void aGapKeepsNeighboursApart();
    void aFinishedParentIsNoticed();
    void aRemovalLeavesTheNextSectionAlone();
    void whatBoundsTheConnections_data();
    void whatBoundsTheConnections();
};

void TestSectionPlan::idsNeverComeAgain()
{
    SectionPlan plan;
    QCOMPARE(plan.takeId(), 1);
    plan.begin();
    plan.clear();
    QCOMPARE(plan.takeId(), 2);
}

void TestSectionPlan::theFirstSectionIsTheWholeResource()
{
    const SectionPlan::Cut cut = SectionPlan().cut({}, {});
    QVERIFY(cut.isPossible);
    QCOMPARE(cut.range, (AbstractDownloadSection{0, -1, 0}));
}

void TestSectionPlan::whoHasMostToDoGivesUpItsTail_data()
{
    QTest::addColumn<QList<Section>>("sections");
    QTest::addColumn<qint64>("offset");
    QTest::addColumn<qint64>("size");
    const auto row = [](const char *name, const Sections &sections, qint64 offset, qint64 size) {
        QTest::newRow(name) << sections << offset << size;
    };
    row("one", {running(1, 0, kMany)}, kMany / 2, kMany / 2);
    row("an odd rest stays with the parent", {running(1, 0, 307'201)}, 153'601, 153'600);
    row("what is there does not count", {running(1, 0, kMany, kMany - 10), running(2, kMany, kMany)}, kMany + kMany / 2,
        kMany / 2);
    row("the first of equals", {running(1, kMany, kMany), running(2, 0, kMany)}, kMany + kMany / 2, kMany / 2);
}

void TestSectionPlan::whoHasMostToDoGivesUpItsTail()
{
    QFETCH(QList<Section>, sections);
    const SectionPlan::Cut cut = SectionPlan().cut(sections, withFile(2 * kMany));
    QVERIFY(cut.isPossible);
    QTEST(cut.range.offset, "offset");
    QTEST(cut.range.size, "size");
    QCOMPARE(cut.range.downloaded, 0);
}

void TestSectionPlan::whatIsNotCutHasAReason_data()
{
    QTest::addColumn<Section>("section");
    QTest::addColumn<Situation>("situation");
    QTest::addColumn<ConnectionsBound>("bound");
    QTest::newRow("too little is left") << running(1, 0, 307'199) << withFile(307'199)
                                        << ConnectionsBound::TooSmallToSplit;
    QTest::newRow("no end is known") << running(1, 0, -1) << withFile(-1) << ConnectionsBound::TooSmallToSplit;
    QTest::newRow("the space is still being taken")
        << running(1, 0, kGigabyte) << withFile(kGigabyte, true) << ConnectionsBound::SpaceNotTaken;
    QTest::newRow("too little is left, and no space taken")
        << running(1, 0, 1000) << withFile(1000, true) << ConnectionsBound::TooSmallToSplit;
}

void TestSectionPlan::whatIsNotCutHasAReason()
{
    QFETCH(Section, section);
    QFETCH(Situation, situation);
    const SectionPlan::Cut cut = SectionPlan().cut({section}, situation);
    QVERIFY(!cut.isPossible);
    QTEST(cut.bound, "bound");
}

void TestSectionPlan::spaceTakenOnDiskMakesRoomForACut()
{
    SectionPlan plan;
    QVERIFY(plan.setAllocatedSize(kGigabyte));
    QVERIFY(!plan.setAllocatedSize(kGigabyte));
    const SectionPlan::Cut cut = plan.cut({running(1, 0, kGigabyte)}, withFile(kGigabyte, true));
    QVERIFY(cut.isPossible);
    QCOMPARE(cut.range.offset, SectionScheduling::kParentGapWhileAllocating);
    plan.begin();
    QCOMPARE(plan.allocatedSize(), -1);
}

void TestSectionPlan::nothingIsCutWhileASectionIsInCreation()
{
    QVERIFY(!creating(2).cut({running(1, 0, kMany), running(2, kMany / 2, kMany / 2)}, withFile(kMany)).isPossible);
}

void TestSectionPlan::theSectionInCreationSortsLast()
{
    const Sections sections{running(1, 50, 10), running(2, 0, 10), running(3, 20, 10)};
    QCOMPARE(ids(SectionPlan().sorted(sections)), (QList<qint64>{2, 3, 1}));
    QCOMPARE(ids(creating(2).sorted(sections)), (QList<qint64>{3, 1, 2}));
}

void TestSectionPlan::whatWaitsIsStartedFirst()
{
    const Sections sections{running(1, 0, 10), finished(2, 10, 10), idle(3, 20, 10), idle(4, 30, 10)};
    QCOMPARE(SectionPlan().findLazySection(sections).id, 3);
    QCOMPARE(creating(3).findLazySection(sections).id, 4);
    QCOMPARE(SectionPlan().findLazySection({running(1, 0, 10)}).id, 0);
}

void TestSectionPlan::anAnswerConfirmsOrNot_data()
{
    QTest::addColumn<QList<Section>>("sections");
    QTest::addColumn<Confirmation>("confirmation");
    QTest::addColumn<QString>("reason");
    const Section created = running(9, 500, 500);
    QTest::newRow("it is the only one") << Sections{created} << Confirmation::Confirmed << QString();
    QTest::newRow("its parent has not come that far")
        << Sections{running(1, 0, 1000, 499), created} << Confirmation::Confirmed << QString();
    QTest::newRow("its parent has come to it")
        << Sections{running(1, 0, 1000, 500), created} << Confirmation::Pointless << u"pointless"_s;
    QTest::newRow("its parent ends elsewhere by now")
        << Sections{running(1, 0, 700), created} << Confirmation::NoParent << u"no parent section found"_s;
}

void TestSectionPlan::anAnswerConfirmsOrNot()
{
    QFETCH(QList<Section>, sections);
    SectionPlan plan = creating(9);
    const Confirmation confirmation = plan.confirm(sections, 1);
    QTEST(confirmation, "confirmation");
    QTEST(SectionPlan::reasonAgainst(confirmation), "reason");
}

void TestSectionPlan::whatProvedPointlessIsNotTriedAgainInThisRun()
{
    SectionPlan plan = creating(2);
    const Sections sections{running(1, 0, 1000, 900), running(2, 500, 500)};
    QCOMPARE(plan.confirm(sections, -1), Confirmation::Pointless);
    plan.endRemoval(plan.beginRemoval());
    QCOMPARE(plan.mayCreate({sections.first()}, withFile(1000)), CreateVerdict::NoMoreSections);
    plan.begin();
    QCOMPARE(plan.mayCreate({sections.first()}, withFile(1000)), CreateVerdict::Allowed);
}

void TestSectionPlan::aForcedTestGivesWayToTheLimit()
{
    SectionPlan plan;
    const Sections sections{running(1, 0, 1000), running(2, 500, 500)};
    QVERIFY(plan.takeResumeTest({sections.first()}, withFile(1000)));
    plan.startCreating(2);
    QCOMPARE(plan.confirm(sections, 1), Confirmation::TooManyConnections);
    QCOMPARE(SectionPlan::reasonAgainst(Confirmation::TooManyConnections), u"too many connections"_s);
    // It is about that section alone.
    QCOMPARE(plan.confirm(sections, 1), Confirmation::Confirmed);
}

void TestSectionPlan::resumeIsTestedOnce()
{
    SectionPlan plan;
    QVERIFY(plan.takeResumeTest({running(1, 0, 1000)}, withFile(1000)));
    QVERIFY(!plan.isExtraWanted());
    QVERIFY(!plan.takeResumeTest({running(1, 0, 1000)}, withFile(1000)));
    plan.allowResumeTest();
    QVERIFY(plan.takeResumeTest({running(1, 0, 1000)}, withFile(1000)));
}

void TestSectionPlan::aLimitThatMayNotBeTestedIsWaitedFor()
{
    Situation known = withFile(1000);
    known.isResumeUnknown = false;
    SectionPlan plan;
    QVERIFY(!plan.takeResumeTest({running(1, 0, 1000)}, known));
    QVERIFY(plan.isExtraWanted());
    plan.setExtraWanted(false);
    QVERIFY(!plan.takeResumeTest({running(1, 0, 500), running(2, 500, 500)}, withFile(1000)));
    QVERIFY(plan.isExtraWanted());
}

void TestSectionPlan::aConfirmedSectionGetsTheTailOfTheOneBefore()
{
    SectionPlan plan = creating(3);
    QCOMPARE(plan.settle({running(1, 0, 400), running(2, 400, 600), running(3, 700, 300)}), 2);
    QCOMPARE(plan.creatingId(), 0);
    plan.startCreating(1);
    QCOMPARE(plan.settle({running(1, 0, -1)}), 0);
}

void TestSectionPlan::finishedNeighboursBecomeOne()
{
    const Sections sections{finished(1, 0, 10), finished(3, 20, 10), finished(2, 10, 10), running(4, 30, 10)};
    const SectionPlan::Compaction compaction = SectionPlan().compact(sections);
    QCOMPARE(compaction.merges, (QList<QPair<qint64, qint64>>{{1, 2}, {1, 3}}));
    QVERIFY(!compaction.isParentFinished);
}

void TestSectionPlan::aGapKeepsNeighboursApart()
{
    QVERIFY(SectionPlan().compact({finished(1, 0, 10), finished(2, 11, 10)}).merges.isEmpty());
    QVERIFY(SectionPlan().compact({finished(1, 0, 10), idle(2, 10, 10), finished(3, 20, 10)}).merges.isEmpty());
}

void TestSectionPlan::aFinishedParentIsNoticed()
{
    const Sections sections{finished(1, 0, 10), finished(2, 10, 10), running(3, 15, 5)};
    QVERIFY(creating(3).compact(sections).isParentFinished);
    QVERIFY(creating(3).endsWithCreating(sections, {10, 10, 10}));
    QVERIFY(!creating(3).endsWithCreating(sections, {0, 10, 10}));
    QVERIFY(!SectionPlan().endsWithCreating(sections, {10, 10, 10}));
}

void TestSectionPlan::aRemovalLeavesTheNextSectionAlone()
{
    SectionPlan plan = creating(2);
    const qint64 removed = plan.beginRemoval();
    QCOMPARE(removed, 2);
    QCOMPARE(plan.ignoredId(), 2);
    plan.startCreating(3);
    plan.endRemoval(removed);
    QCOMPARE(plan.ignoredId(), 0);
    QCOMPARE(plan.creatingId(), 3);
}

void TestSectionPlan::whatBoundsTheConnections_data()
{
    QTest::addColumn<CreateVerdict>("verdict");
    QTest::addColumn<bool>("isPerServer");
    QTest::addColumn<ConnectionsBound>("bound");
    QTest::newRow("allowed") << CreateVerdict::Allowed << false << ConnectionsBound::None;
    QTest::newRow("one proves itself") << CreateVerdict::AlreadyCreating << false << ConnectionsBound::None;
    QTest::newRow("no ranges") << CreateVerdict::ResumeNotSupported << false << ConnectionsBound::RangesNotHonoured;
    QTest::newRow("no size") << CreateVerdict::SizeUnknown << false << ConnectionsBound::SizeUnknown;
    QTest::newRow("the cap") << CreateVerdict::CapReached << false << ConnectionsBound::SectionsCap;
    QTest::newRow("the limit") << CreateVerdict::LimitReached << false << ConnectionsBound::Connections;
    QTest::newRow("the limit per server")
        << CreateVerdict::LimitReached << true << ConnectionsBound::ConnectionsPerServer;
}

void TestSectionPlan::whatBoundsTheConnections()
{
    QFETCH(CreateVerdict, verdict);
    QFETCH(bool, isPerServer);
    Situation situation;
    if (isPerServer)
        situation.connections.reason = SectionScheduling::ConnectionLimit::ConnectionsPerServer;
    QTEST(SectionPlan::boundOf(verdict, situation), "bound");
}

QTEST_GUILESS_MAIN(TestSectionPlan)
#include "tst_sectionplan.moc"
