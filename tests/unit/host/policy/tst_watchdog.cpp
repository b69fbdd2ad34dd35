// SPDX-License-Identifier: MIT
#include <host/policy/watchdog.h>

#include <QTest>

using Finding = Watchdog::Finding;
using Sample = Watchdog::Sample;

class TestWatchdog : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void silenceIsFound_data();
    void silenceIsFound();
    void silenceIsCountedFromTheLastSignOfLife();
    void aStormOfRequestsIsFound();
    void requestsThatBringSomethingAreNoStorm();
    void requestsFarApartAreNoStorm();
};

void TestWatchdog::silenceIsFound_data()
{
    QTest::addColumn<Sample>("later");
    QTest::addColumn<bool>("isSilent");
    const qint64 late = Watchdog::kSilenceMs;
    QTest::newRow("nothing for long enough") << Sample{late, 5} << true;
    QTest::newRow("nothing for nearly long enough") << Sample{late - 1, 5} << false;
    QTest::newRow("bytes came") << Sample{late, 6} << false;
    QTest::newRow("space was reserved") << Sample{late, 5, 1} << false;
    QTest::newRow("a connection is open") << Sample{late, 5, -1, 1} << false;
    QTest::newRow("files are worked on") << Sample{late, 5, -1, 0, true} << false;
}

void TestWatchdog::silenceIsFound()
{
    QFETCH(Sample, later);
    QFETCH(bool, isSilent);
    Watchdog watchdog;
    QCOMPARE(watchdog.look({0, 5}), Finding::Fine);
    QCOMPARE(watchdog.look(later), isSilent ? Finding::Silent : Finding::Fine);
}

void TestWatchdog::silenceIsCountedFromTheLastSignOfLife()
{
    Watchdog watchdog;
    watchdog.look({0, 5});
    QCOMPARE(watchdog.look({Watchdog::kSilenceMs, 5, -1, 1}), Finding::Fine);
    QCOMPARE(watchdog.look({Watchdog::kSilenceMs * 2 - 1, 5}), Finding::Fine);
    QCOMPARE(watchdog.look({Watchdog::kSilenceMs * 2, 5}), Finding::Silent);
}

void TestWatchdog::aStormOfRequestsIsFound()
{
    Watchdog watchdog;
    watchdog.look({0, 0, -1, 1, false, 1});
    const int requests = Watchdog::kStormRequests;
    QCOMPARE(watchdog.look({1000, 1000, -1, 1, false, requests}), Finding::Fine);
    QCOMPARE(watchdog.look({2000, 1000, -1, 1, false, requests + 1}), Finding::Storm);
}

void TestWatchdog::requestsThatBringSomethingAreNoStorm()
{
    Watchdog watchdog;
    watchdog.look({0, 0, -1, 1, false, 0});
    const qint64 bytes = Watchdog::kStormRequests * Watchdog::kStormBytesPerRequest;
    QCOMPARE(watchdog.look({1000, bytes, -1, 1, false, Watchdog::kStormRequests}), Finding::Fine);
}

void TestWatchdog::requestsFarApartAreNoStorm()
{
    Watchdog watchdog;
    watchdog.look({0, 0, -1, 1, false, 0});
    for (int i = 1; i <= 10; ++i)
        QCOMPARE(watchdog.look({i * Watchdog::kStormPeriodMs, 0, -1, 1, false, i * (Watchdog::kStormRequests - 1)}),
                 Finding::Fine);
}

QTEST_GUILESS_MAIN(TestWatchdog)
#include "tst_watchdog.moc"
