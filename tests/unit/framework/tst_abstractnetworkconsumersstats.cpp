// SPDX-License-Identifier: MIT
#include <inet/qt/download/framework/abstractnetworkconsumersstats.h>

#include <tests/unit/framework/fakeconsumer.h>

#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;
using Stats = AbstractNetworkConsumersStats;

namespace
{

const QtHostAndPort kServer{u"server"_s, 80};

QtConnectionsMap onServer(int count)
{
    return {{kServer, {count}}};
}

}

class TestStats : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aConsumerBringsItsConnectionsAlong();
    void theSumIsLive();
    void unregisteringTakesTheConnectionsBack();
    void registeringTwiceCountsOnce();
    void aDestroyedConsumerIsForgotten();
    void theSignalIsQueued();
    void changesBetweenTwoSignalsAreOneDelta();
    void changesThatCancelOutAreNotAnnounced();
    void deltasSumUp();
    void aStrangerIsNotHeardAfterUnregistering();
    void speedsAreSummedUp();
};

void TestStats::aConsumerBringsItsConnectionsAlong()
{
    Stats stats;
    FakeConsumer consumer(1);
    consumer.changeConnections(onServer(2));
    stats.registerConsumer(&consumer, true);
    QCOMPARE(stats.connectionsMap(), onServer(2));
    QCOMPARE(stats.consumersCount(), 1);
}

void TestStats::theSumIsLive()
{
    Stats stats;
    FakeConsumer one(1);
    FakeConsumer two(2);
    stats.registerConsumer(&one, true);
    stats.registerConsumer(&two, true);
    one.changeConnections(onServer(1));
    two.changeConnections(onServer(1));
    QCOMPARE(stats.connectionsMap(), onServer(2));
    one.changeConnections(onServer(-1));
    QCOMPARE(stats.connectionsMap(), onServer(1));
}

void TestStats::unregisteringTakesTheConnectionsBack()
{
    Stats stats;
    FakeConsumer consumer(1);
    stats.registerConsumer(&consumer, true);
    consumer.changeConnections(onServer(3));
    stats.registerConsumer(&consumer, false);
    stats.registerConsumer(&consumer, false);
    stats.registerConsumer(nullptr, false);
    QVERIFY(stats.connectionsMap().isEmpty());
    QCOMPARE(stats.consumersCount(), 0);
}

void TestStats::registeringTwiceCountsOnce()
{
    Stats stats;
    FakeConsumer consumer(1);
    consumer.changeConnections(onServer(1));
    stats.registerConsumer(&consumer, true);
    stats.registerConsumer(&consumer, true);
    consumer.changeConnections(onServer(1));
    QCOMPARE(stats.connectionsMap(), onServer(2));
    QCOMPARE(stats.consumersCount(), 1);
}

void TestStats::aDestroyedConsumerIsForgotten()
{
    Stats stats;
    auto consumer = std::make_unique<FakeConsumer>(1);
    stats.registerConsumer(consumer.get(), true);
    consumer->changeConnections(onServer(1));
    consumer.reset();
    QVERIFY(stats.connectionsMap().isEmpty());
    QCOMPARE(stats.consumersCount(), 0);
    QCOMPARE(stats.speed(NetworkTrafficDirection::Download, true), 0);
}

void TestStats::theSignalIsQueued()
{
    Stats stats;
    FakeConsumer consumer(1);
    QSignalSpy spy(&stats, &Stats::connectionsMapChangedDelta);
    stats.registerConsumer(&consumer, true);
    consumer.changeConnections(onServer(1));
    QCOMPARE(spy.size(), 0);
    QCoreApplication::processEvents();
    QCOMPARE(spy.size(), 1);
}

void TestStats::changesBetweenTwoSignalsAreOneDelta()
{
    Stats stats;
    FakeConsumer one(1);
    FakeConsumer two(2);
    QSignalSpy spy(&stats, &Stats::connectionsMapChangedDelta);
    stats.registerConsumer(&one, true);
    stats.registerConsumer(&two, true);
    one.changeConnections(onServer(1));
    two.changeConnections(onServer(1));
    QCoreApplication::processEvents();
    QCOMPARE(spy.size(), 1);
    QCOMPARE(spy.at(0).at(0).value<QtConnectionsMap>(), onServer(2));
}

void TestStats::changesThatCancelOutAreNotAnnounced()
{
    Stats stats;
    FakeConsumer consumer(1);
    QSignalSpy spy(&stats, &Stats::connectionsMapChangedDelta);
    stats.registerConsumer(&consumer, true);
    consumer.changeConnections(onServer(1));
    consumer.changeConnections(onServer(-1));
    QCoreApplication::processEvents();
    QCOMPARE(spy.size(), 0);
}

void TestStats::deltasSumUp()
{
    Stats stats;
    FakeConsumer consumer(1);
    QtConnectionsMap sum;
    connect(&stats, &Stats::connectionsMapChangedDelta, &stats,
            [&](const QtConnectionsMap &delta) { uniteConnectionsMaps(sum, delta); });
    stats.registerConsumer(&consumer, true);
    consumer.changeConnections(onServer(2));
    QCoreApplication::processEvents();
    QCOMPARE(sum, stats.connectionsMap());
    consumer.changeConnections(onServer(-1));
    QCoreApplication::processEvents();
    QCOMPARE(sum, stats.connectionsMap());
    stats.registerConsumer(&consumer, false);
    QCoreApplication::processEvents();
    QVERIFY(sum.isEmpty());
}

void TestStats::aStrangerIsNotHeardAfterUnregistering()
{
    Stats stats;
    FakeConsumer consumer(1);
    stats.registerConsumer(&consumer, true);
    stats.registerConsumer(&consumer, false);
    consumer.changeConnections(onServer(1));
    QVERIFY(stats.connectionsMap().isEmpty());
}

void TestStats::speedsAreSummedUp()
{
    Stats stats;
    FakeConsumer one(1);
    FakeConsumer two(2);
    one.downloadSpeed = 5;
    two.downloadSpeed = 6;
    stats.registerConsumer(&one, true);
    stats.registerConsumer(&two, true);
    QCOMPARE(stats.speed(NetworkTrafficDirection::Download, false), 11);
}

QTEST_GUILESS_MAIN(TestStats)
#include "tst_abstractnetworkconsumersstats.moc"
