// SPDX-License-Identifier: MIT
#include <cli/summary.h>
#include <cli/tally.h>

#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

Summary summaryOf(ExitStatus status)
{
    Summary summary;
    summary.url = QUrl(u"http://a/notes.txt"_s);
    summary.status = status;
    summary.bytes = 8;
    summary.fetched = 5;
    return summary;
}

Summary stopped()
{
    Summary summary = summaryOf(ExitStatus::Unfinished);
    summary.isStopped = true;
    return summary;
}

Summary skipped()
{
    Summary summary = summaryOf(ExitStatus::Done);
    summary.isSkipped = true;
    return summary;
}

}

Q_DECLARE_METATYPE(Summary)

class TestTally : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyEndIsCountedOnce_data();
    void everyEndIsCountedOnce();
    void aFailureHasANameAndAReason();
    void whatWasStoppedHasAName();
    void manyAreMoreThanOne();
};

void TestTally::everyEndIsCountedOnce_data()
{
    QTest::addColumn<Summary>("summary");
    QTest::addColumn<QString>("counted"); // done, skipped, stopped, failed; bytes of what is done, bytes that came
    QTest::newRow("it is done") << summaryOf(ExitStatus::Done) << u"1 0 0 0; 8 5"_s;
    QTest::newRow("a file that was there is as good") << skipped() << u"0 1 0 0; 0 5"_s;
    QTest::newRow("it was stopped") << stopped() << u"0 0 1 0; 0 5"_s;
    QTest::newRow("it failed") << summaryOf(ExitStatus::NotFound) << u"0 0 0 1; 0 5"_s;
    QTest::newRow("it did not come to its end") << summaryOf(ExitStatus::Unfinished) << u"0 0 0 1; 0 5"_s;
}

void TestTally::everyEndIsCountedOnce()
{
    QFETCH(Summary, summary);
    Tally tally;
    tally.add(summary);
    const QString counted = u"%1 %2 %3 %4; %5 %6"_s.arg(tally.done)
                                .arg(tally.skipped)
                                .arg(tally.stopped.size())
                                .arg(tally.failed.size())
                                .arg(tally.bytes)
                                .arg(tally.fetched);
    QTEST(counted, "counted");
    tally.add(summaryOf(ExitStatus::Done));
    QCOMPARE(tally.fetched, 10);
}

void TestTally::aFailureHasANameAndAReason()
{
    Summary summary = summaryOf(ExitStatus::NotFound);
    summary.errorText = u"cannot download it: HTTP status 404. Check the address."_s;
    Tally tally;
    tally.add(summary);
    summary.name = u"a.iso"_s;
    summary.reason = u"HTTP status 404"_s;
    tally.add(summary);
    QCOMPARE(tally.failed.at(0).name, u"notes.txt"_s);
    QCOMPARE(tally.failed.at(0).reason, summary.errorText);
    QCOMPARE(tally.failed.at(1).name, u"a.iso"_s);
    QCOMPARE(tally.failed.at(1).reason, u"HTTP status 404"_s);
}

void TestTally::whatWasStoppedHasAName()
{
    Tally tally;
    tally.add(stopped());
    QCOMPARE(tally.stopped, QStringList{u"notes.txt"_s});
}

/// Of one alone its own last line says everything.
void TestTally::manyAreMoreThanOne()
{
    QVERIFY(!Tally().isOfMany());
    for (const Summary &first : {summaryOf(ExitStatus::Done), skipped(), stopped(), summaryOf(ExitStatus::NotFound)}) {
        Tally tally;
        tally.add(first);
        QVERIFY(!tally.isOfMany());
        tally.unbegun = 1;
        QVERIFY(tally.isOfMany());
    }
}

QTEST_GUILESS_MAIN(TestTally)
#include "tst_tally.moc"
