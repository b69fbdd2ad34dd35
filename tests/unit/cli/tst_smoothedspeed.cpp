// SPDX-License-Identifier: MIT
#include <cli/smoothedspeed.h>

#include <QTest>

class TestSmoothedSpeed : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theFirstSpeedCountsInFull();
    void aSteadySpeedStays();
    void afterTheTimeConstantTwoThirdsOfAStepAreThere();
    void itDoesNotMatterHowOftenItIsMeasured();
    void aStandstillIsZeroInTheEnd();
};

void TestSmoothedSpeed::theFirstSpeedCountsInFull()
{
    SmoothedSpeed speed;
    QCOMPARE(speed.value(), 0);
    speed.add(1000, 0);
    QCOMPARE(speed.value(), 0);
    speed.add(1001, 5000);
    QCOMPARE(speed.value(), 5000);
}

void TestSmoothedSpeed::aSteadySpeedStays()
{
    SmoothedSpeed speed;
    for (qint64 now = 0; now < 60000; now += 77)
        speed.add(now, 123456789);
    QCOMPARE(speed.value(), 123456789);
}

void TestSmoothedSpeed::afterTheTimeConstantTwoThirdsOfAStepAreThere()
{
    SmoothedSpeed speed;
    speed.add(0, 1000);
    speed.add(3000, 2000);
    QCOMPARE(speed.value(), 1632);
}

void TestSmoothedSpeed::itDoesNotMatterHowOftenItIsMeasured()
{
    SmoothedSpeed speed;
    speed.add(0, 1000);
    for (qint64 now = 10; now <= 3000; now += 10)
        speed.add(now, 2000);
    QCOMPARE(speed.value(), 1632);
}

void TestSmoothedSpeed::aStandstillIsZeroInTheEnd()
{
    SmoothedSpeed speed;
    speed.add(0, 1000000);
    speed.add(1000, 0);
    QVERIFY(speed.value() > 0);
    speed.add(60000, 0);
    QCOMPARE(speed.value(), 0);
}

QTEST_GUILESS_MAIN(TestSmoothedSpeed)
#include "tst_smoothedspeed.moc"
