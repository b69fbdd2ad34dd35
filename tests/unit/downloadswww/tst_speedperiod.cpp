// SPDX-License-Identifier: MIT
#include <inet/qt/download/downloadswww/speedperiod.h>

#include <QTest>

class TestSpeedPeriod : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void limits_data();
    void limits();
    void speedOfTheFirstSecondIsWhatCameSoFar();
    void speedIsThatOfTheLastFullSecond();
    void speedFallsToNothingInSilence();
    void allowanceIsWhatTheSecondHasLeft();
    void clockSetBackBeginsANewSecond();
    void totalCountsEverything();
};

void TestSpeedPeriod::limits_data()
{
    QTest::addColumn<qint64>("own");
    QTest::addColumn<qint64>("global");
    QTest::addColumn<qint64>("expected");

    QTest::newRow("no limit at all") << qint64(0) << qint64(0) << qint64(0);
    QTest::newRow("the own limit alone") << qint64(500) << qint64(0) << qint64(500);
    QTest::newRow("the global limit alone") << qint64(0) << qint64(700) << qint64(700);
    QTest::newRow("the own limit is the smaller") << qint64(500) << qint64(700) << qint64(500);
    QTest::newRow("the global limit is the smaller") << qint64(900) << qint64(700) << qint64(700);
    QTest::newRow("a negative own limit comes out below 0, which limits nothing")
        << qint64(-1) << qint64(0) << qint64(-1);
    QTest::newRow("a negative own limit overrules the global one") << qint64(-1) << qint64(40000) << qint64(-1);
}

void TestSpeedPeriod::limits()
{
    QFETCH(qint64, own);
    QFETCH(qint64, global);
    QTEST(effectiveDownloadLimit(own, global), "expected");
}

void TestSpeedPeriod::speedOfTheFirstSecondIsWhatCameSoFar()
{
    SpeedPeriod period;
    QCOMPARE(period.speed(10), 0);
    period.add(100, 10);
    period.add(50, 10);
    QCOMPARE(period.speed(10), 150);
}

void TestSpeedPeriod::speedIsThatOfTheLastFullSecond()
{
    SpeedPeriod period;
    period.add(100, 10);
    period.add(30, 11);
    QCOMPARE(period.speed(11), 100);
    QCOMPARE(period.speed(12), 30);
}

void TestSpeedPeriod::speedFallsToNothingInSilence()
{
    SpeedPeriod period;
    period.add(100, 10);
    QCOMPARE(period.speed(11), 100);
    QCOMPARE(period.speed(12), 0);
}

void TestSpeedPeriod::allowanceIsWhatTheSecondHasLeft()
{
    SpeedPeriod period;
    QCOMPARE(period.allowance(1000, 10), 1000);
    period.add(400, 10);
    QCOMPARE(period.allowance(1000, 10), 600);
    period.add(700, 10);
    QCOMPARE(period.allowance(1000, 10), 0);
    QCOMPARE(period.allowance(1000, 11), 1000);
}

void TestSpeedPeriod::clockSetBackBeginsANewSecond()
{
    SpeedPeriod period;
    period.add(1000, 5000);
    QCOMPARE(period.allowance(1000, 1400), 1000);
    QCOMPARE(period.speed(1400), 1000);
}

void TestSpeedPeriod::totalCountsEverything()
{
    SpeedPeriod period;
    period.add(100, 10);
    period.add(20, 15);
    QCOMPARE(period.totalBytes(), 120);
}

QTEST_GUILESS_MAIN(TestSpeedPeriod)
#include "tst_speedperiod.moc"
