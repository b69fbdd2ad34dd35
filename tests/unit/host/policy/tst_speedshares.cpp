// SPDX-License-Identifier: MIT
#include <host/policy/speedshares.h>

#include <QTest>

using SpeedShares::Item;
using Items = QList<Item>;
using Shares = QHash<qint64, qint64>;

class TestSpeedShares : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aLimitIsSharedOut_data();
    void aLimitIsSharedOut();
    void neverMoreThanTheLimitIsSharedOut();
    void aShareIsDividedByItsTransfers();
};

void TestSpeedShares::aLimitIsSharedOut_data()
{
    QTest::addColumn<qint64>("limit");
    QTest::addColumn<Items>("items");
    QTest::addColumn<Shares>("shares");
    QTest::newRow("without a limit each keeps its own")
        << qint64(0) << Items{{1, 0}, {2, 500}} << Shares{{1, 0}, {2, 500}};
    QTest::newRow("one alone has all") << qint64(1000) << Items{{1}} << Shares{{1, 1000}};
    QTest::newRow("two have half each") << qint64(1000) << Items{{1}, {2}} << Shares{{1, 500}, {2, 500}};
    QTest::newRow("an own limit leaves the rest to the others")
        << qint64(1000) << Items{{1, 100}, {2}, {3}} << Shares{{1, 100}, {2, 450}, {3, 450}};
    QTest::newRow("an own limit above the share does not count")
        << qint64(1000) << Items{{1, 900}, {2}} << Shares{{1, 500}, {2, 500}};
    QTest::newRow("who does not use its share leaves the rest, and has room to grow")
        << qint64(1'000'000) << Items{{1, 0, 1, 100'000, 500'000}, {2, 0, 1, 500'000, 500'000}}
        << Shares{{1, 136'384}, {2, 863'616}};
    QTest::newRow("who nearly uses its share is not cut")
        << qint64(1000) << Items{{1, 0, 1, 400, 500}, {2, 0, 1, 500, 500}} << Shares{{1, 500}, {2, 500}};
    QTest::newRow("a stalled one can begin again")
        << qint64(1'000'000) << Items{{1, 0, 1, 0, 500'000}, {2}} << Shares{{1, 16'384}, {2, 983'616}};
    QTest::newRow("none is shut off") << qint64(1) << Items{{1}, {2}} << Shares{{1, 1}, {2, 1}};
    QTest::newRow("nobody") << qint64(1000) << Items() << Shares();
}

void TestSpeedShares::aLimitIsSharedOut()
{
    QFETCH(qint64, limit);
    QFETCH(Items, items);
    QTEST(SpeedShares::distribute(limit, items), "shares");
}

void TestSpeedShares::neverMoreThanTheLimitIsSharedOut()
{
    const Items items{{1, 300}, {2, 0, 3, 10, 400}, {3, 0, 1, 9000, 9000}, {4, 7}, {5}};
    qint64 sum = 0;
    const Shares shares = SpeedShares::distribute(100'000, items);
    for (const qint64 share : shares)
        sum += share;
    QVERIFY(sum <= 100'000);
    QCOMPARE(shares.size(), items.size());
}

void TestSpeedShares::aShareIsDividedByItsTransfers()
{
    QCOMPARE(SpeedShares::perTransfer(1000, 4), 250);
    QCOMPARE(SpeedShares::perTransfer(1000, 0), 1000);
    QCOMPARE(SpeedShares::perTransfer(0, 4), 0);
    QCOMPARE(SpeedShares::perTransfer(3, 4), 1);
}

QTEST_GUILESS_MAIN(TestSpeedShares)
#include "tst_speedshares.moc"
