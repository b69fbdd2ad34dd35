// SPDX-License-Identifier: MIT
#include <inet/qt/download/framework/abstractnetworkconsumerswithextrataskspack.h>

#include <tests/unit/framework/fakeconsumer.h>

#include <QTest>

using namespace Qt::StringLiterals;
using Pack = AbstractNetworkConsumersWithExtraTasksPack;

namespace
{

const QtHostAndPort kServer{u"server"_s, 80};
const QtHostAndPort kOther{u"other"_s, 443};

QSharedPointer<FakeConsumer> makeItem(qint64 id)
{
    return QSharedPointer<FakeConsumer>::create(id);
}

/// Everything that a pack says, in order.
class PackLog
{
public:
    explicit PackLog(Pack &pack)
    {
        QObject::connect(&pack, &Pack::itemRunning, &pack, [this](qint64 id, bool isRunning) {
            lines.append(u"item %1 %2"_s.arg(id).arg(isRunning ? u"started"_s : u"stopped"_s));
        });
        QObject::connect(&pack, &Pack::running, &pack,
                         [this](bool isRunning) { lines.append(isRunning ? u"running"_s : u"stopped"_s); });
        QObject::connect(&pack, &Pack::connectionsMapChangedDelta, &pack, [this](const QtConnectionsMap &delta) {
            ++deltas;
            uniteConnectionsMaps(sum, delta);
        });
    }

    QStringList lines;
    QtConnectionsMap sum;
    int deltas = 0;
};

}

class TestPack : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void itemsKeepTheOrderOfAdding();
    void theSameItemTwiceIsOneItem();
    void anotherItemOfTheSameIdTakesItsPlace();
    void itemsComeBeforeThePack();
    void onlyTransitionsAreAnnounced();
    void stateIsTrueWhenTheSignalComes();
    void aSuccessorStartedInTheReactionKeepsThePackRunning();
    void aSuccessorThatFailsAtOnceEndsTheRunOnce();
    void aRunThatEndsInItsOwnReactionIsFramed();
    void aRunStartedInTheEndOfAnotherIsFramed();
    void everyReceiverHearsTransitionsInOrder();
    void removingTheLastRunningItemIsATransition();
    void addingARunningItemIsATransition();
    void anItemMayBeRemovedInItsOwnSignal();
    void allItemsMayBeRemovedInASignal();
    void thePackMayBeDeletedInASignal();
    void aRemovedItemIsNotHeard();
    void deltasSumUp();
    void anItemWithoutConnectionsGivesNoDelta();
    void settingsReachPresentAndFutureItemsUnchanged();
    void settingsNeverSetAreNotApplied();
    void theNewestErrorCounts_data();
    void theNewestErrorCounts();
    void sslErrorsAreThoseOfTheNewestError();
    void clearingReachesEveryItem();
    void speedsAreSummedUp();
};

void TestPack::itemsKeepTheOrderOfAdding()
{
    Pack pack;
    QVERIFY(pack.empty());
    for (const qint64 id : {7, 3, 12, 1})
        pack.addItem(makeItem(id));
    QCOMPARE(pack.itemsIds(), (QList<qint64>{7, 3, 12, 1}));
    pack.removeItems({3, 99});
    QCOMPARE(pack.itemsIds(), (QList<qint64>{7, 12, 1}));
    QCOMPARE(pack.items().size(), 3);
    QCOMPARE(pack.items().at(1)->id(), 12);
    QCOMPARE(pack.size(), 3);
    QVERIFY(!pack.empty());
    QVERIFY(!pack.item(3));
    QCOMPARE(pack.item(12)->id(), 12);
    pack.removeItems(pack.itemsIds());
    QVERIFY(pack.empty());
}

void TestPack::theSameItemTwiceIsOneItem()
{
    Pack pack;
    PackLog log(pack);
    const auto item = makeItem(1);
    pack.addItem(item);
    pack.addItem(item);
    pack.addItem({});
    item->setRunning(true);
    QCOMPARE(pack.size(), 1);
    QCOMPARE(log.lines, (QStringList{u"item 1 started"_s, u"running"_s}));
}

void TestPack::anotherItemOfTheSameIdTakesItsPlace()
{
    Pack pack;
    const auto first = makeItem(1);
    const auto second = makeItem(1);
    pack.addItem(first);
    pack.addItem(second);
    PackLog log(pack);
    first->setRunning(true);
    QCOMPARE(log.lines, QStringList());
    QCOMPARE(pack.itemsIds(), QList<qint64>{1});
    QCOMPARE(pack.item(1), second.staticCast<AbstractNetworkConsumerWithExtraTasks>());
}

void TestPack::itemsComeBeforeThePack()
{
    Pack pack;
    const auto item = makeItem(5);
    pack.addItem(item);
    PackLog log(pack);
    item->setRunning(true);
    item->setRunning(false);
    QCOMPARE(log.lines, (QStringList{u"item 5 started"_s, u"running"_s, u"item 5 stopped"_s, u"stopped"_s}));
}

void TestPack::onlyTransitionsAreAnnounced()
{
    Pack pack;
    const auto one = makeItem(1);
    const auto two = makeItem(2);
    pack.addItem(one);
    pack.addItem(two);
    PackLog log(pack);
    one->setRunning(true);
    two->setRunning(true);
    QCOMPARE(pack.runningItemsIds(), (QList<qint64>{1, 2}));
    one->setRunning(false);
    QCOMPARE(pack.runningItemsIds(), QList<qint64>{2});
    QVERIFY(pack.isRunning());
    two->setRunning(false);
    QVERIFY(!pack.isRunning());
    QCOMPARE(log.lines,
             (QStringList{u"item 1 started"_s, u"running"_s, u"item 2 started"_s, u"item 1 stopped"_s,
                          u"item 2 stopped"_s, u"stopped"_s}));
}

void TestPack::stateIsTrueWhenTheSignalComes()
{
    Pack pack;
    const auto item = makeItem(1);
    pack.addItem(item);
    QList<bool> seen;
    connect(&pack, &Pack::running, &pack, [&](bool isRunning) { seen.append(pack.isRunning() == isRunning); });
    item->setRunning(true);
    item->setRunning(false);
    QCOMPARE(seen, (QList<bool>{true, true}));
}

void TestPack::aSuccessorStartedInTheReactionKeepsThePackRunning()
{
    Pack pack;
    const auto first = makeItem(1);
    const auto next = makeItem(2);
    pack.addItem(first);
    first->setRunning(true);
    PackLog log(pack);
    connect(&pack, &Pack::itemRunning, &pack, [&](qint64 id, bool isRunning) {
        if (id == 1 && !isRunning) {
            pack.addItem(next);
            next->setRunning(true);
        }
    });
    first->setRunning(false);
    QCOMPARE(log.lines, (QStringList{u"item 1 stopped"_s, u"item 2 started"_s}));
    QVERIFY(pack.isRunning());
}

void TestPack::aSuccessorThatFailsAtOnceEndsTheRunOnce()
{
    Pack pack;
    const auto first = makeItem(1);
    const auto next = makeItem(2);
    pack.addItem(first);
    first->setRunning(true);
    bool reacting = false;
    bool stoppedWhileReacting = false;
    connect(&pack, &Pack::itemRunning, &pack, [&](qint64 id, bool isRunning) {
        if (id != 1 || isRunning)
            return;
        reacting = true;
        pack.addItem(next);
        next->setRunning(true);
        next->setRunning(false);
        pack.removeItem(2);
        reacting = false;
    });
    connect(&pack, &Pack::running, &pack, [&] { stoppedWhileReacting |= reacting; });
    PackLog log(pack);
    first->setRunning(false);
    QCOMPARE(log.lines.count(u"stopped"_s), 1);
    QCOMPARE(log.lines.count(u"running"_s), 0);
    QVERIFY(!stoppedWhileReacting);
}

void TestPack::aRunThatEndsInItsOwnReactionIsFramed()
{
    Pack pack;
    const auto item = makeItem(1);
    pack.addItem(item);
    connect(&pack, &Pack::itemRunning, &pack, [&](qint64, bool isRunning) {
        if (isRunning)
            item->setRunning(false);
    });
    PackLog log(pack);
    item->setRunning(true);
    QCOMPARE(log.lines.last(), u"stopped"_s);
    QCOMPARE(log.lines.filter(u"item"_s).size(), 2);
    QCOMPARE(log.lines.mid(2), (QStringList{u"running"_s, u"stopped"_s}));
}

void TestPack::aRunStartedInTheEndOfAnotherIsFramed()
{
    Pack pack;
    const auto item = makeItem(1);
    pack.addItem(item);
    int restarts = 0;
    connect(&pack, &Pack::running, &pack, [&](bool isRunning) {
        if (isRunning || restarts++ > 0)
            return;
        item->setRunning(true);
        item->setRunning(false);
    });
    PackLog log(pack);
    item->setRunning(true);
    item->setRunning(false);
    log.lines.removeIf([](const QString &line) { return line.startsWith(u"item"_s); });
    QCOMPARE(log.lines, (QStringList{u"running"_s, u"stopped"_s, u"running"_s, u"stopped"_s}));
    QCOMPARE(restarts, 2);
}

void TestPack::everyReceiverHearsTransitionsInOrder()
{
    Pack pack;
    const auto item = makeItem(1);
    pack.addItem(item);
    bool once = true;
    connect(&pack, &Pack::running, &pack, [&](bool isRunning) {
        if (!isRunning && std::exchange(once, false))
            item->setRunning(true);
    });
    PackLog second(pack);
    item->setRunning(true);
    item->setRunning(false);
    QCOMPARE(second.lines.last(), u"running"_s);
    QVERIFY(pack.isRunning());
}

void TestPack::removingTheLastRunningItemIsATransition()
{
    Pack pack;
    const auto one = makeItem(1);
    const auto two = makeItem(2);
    pack.addItem(one);
    pack.addItem(two);
    one->setRunning(true);
    PackLog log(pack);
    pack.removeItem(2);
    QCOMPARE(log.lines, QStringList());
    pack.removeItem(1);
    QCOMPARE(log.lines, QStringList{u"stopped"_s});
}

void TestPack::addingARunningItemIsATransition()
{
    Pack pack;
    PackLog log(pack);
    const auto item = makeItem(1);
    item->setRunning(true);
    pack.addItem(item);
    QCOMPARE(log.lines, QStringList{u"running"_s});
    item->setRunning(false);
    QCOMPARE(log.lines.last(), u"stopped"_s);
}

void TestPack::anItemMayBeRemovedInItsOwnSignal()
{
    Pack pack;
    QSharedPointer<FakeConsumer> item(new FakeConsumer(1), &QObject::deleteLater);
    FakeConsumer *raw = item.data();
    pack.addItem(item);
    item.reset();
    PackLog log(pack);
    connect(&pack, &Pack::itemRunning, &pack, [&](qint64 id, bool isRunning) {
        if (!isRunning)
            pack.removeItem(id);
    });
    raw->setRunning(true);
    raw->setRunning(false);
    QVERIFY(pack.empty());
    QCOMPARE(log.lines.last(), u"stopped"_s);
}

void TestPack::allItemsMayBeRemovedInASignal()
{
    Pack pack;
    const auto one = makeItem(1);
    const auto two = makeItem(2);
    pack.addItem(one);
    pack.addItem(two);
    one->setRunning(true);
    two->setRunning(true);
    PackLog log(pack);
    connect(&pack, &Pack::itemRunning, &pack, [&] { pack.removeItems(pack.itemsIds()); });
    one->setRunning(false);
    QVERIFY(pack.empty());
    QCOMPARE(log.lines, (QStringList{u"item 1 stopped"_s, u"stopped"_s}));
}

void TestPack::thePackMayBeDeletedInASignal()
{
    auto pack = std::make_unique<Pack>();
    const auto item = makeItem(1);
    pack->addItem(item);
    connect(pack.get(), &Pack::running, item.data(), [&](bool isRunning) {
        if (!isRunning)
            pack.reset();
    });
    item->setRunning(true);
    item->setRunning(false);
    QVERIFY(!pack);
}

void TestPack::aRemovedItemIsNotHeard()
{
    Pack pack;
    const auto item = makeItem(1);
    pack.addItem(item);
    pack.removeItem(1);
    PackLog log(pack);
    item->setRunning(true);
    item->changeConnections({{kServer, {1}}});
    QCOMPARE(log.lines, QStringList());
    QCOMPARE(log.deltas, 0);
}

void TestPack::deltasSumUp()
{
    Pack pack;
    PackLog log(pack);
    const auto one = makeItem(1);
    const auto two = makeItem(2);
    one->changeConnections({{kServer, {2}}});
    pack.addItem(one);
    pack.addItem(two);
    two->changeConnections({{kServer, {1}}, {kOther, {1}}});
    QCOMPARE(log.sum, (QtConnectionsMap{{kServer, {3}}, {kOther, {1}}}));
    QCOMPARE(log.sum, pack.connectionsMap());
    pack.removeItem(1);
    QCOMPARE(log.sum, pack.connectionsMap());
    two->changeConnections({{kOther, {-1}}});
    QCOMPARE(log.sum, (QtConnectionsMap{{kServer, {1}}}));
    pack.removeItem(2);
    QVERIFY(log.sum.isEmpty());
    QVERIFY(pack.connectionsMap().isEmpty());
}

void TestPack::anItemWithoutConnectionsGivesNoDelta()
{
    Pack pack;
    PackLog log(pack);
    pack.addItem(makeItem(1));
    pack.removeItem(1);
    QCOMPARE(log.deltas, 0);
}

void TestPack::settingsReachPresentAndFutureItemsUnchanged()
{
    Pack pack;
    const auto present = makeItem(1);
    pack.addItem(present);
    const NetworkUsageSettings usage{30, 2, 1, true};
    AbstractNetworkConsumerSettings settings;
    settings.userAgent = u"agent"_s;
    pack.setNetworkUsageSettings(usage);
    pack.setNetworkSettings(settings);
    const auto future = makeItem(2);
    pack.addItem(future);
    for (const auto &item : {present, future}) {
        QCOMPARE(item->networkUsageSettings(), usage);
        QCOMPARE(item->networkSettings().userAgent, u"agent"_s);
        QCOMPARE(item->usageSettingsCalls, 1);
        QCOMPARE(item->networkSettingsCalls, 1);
    }
    QCOMPARE(pack.networkUsageSettings(), usage);
}

void TestPack::settingsNeverSetAreNotApplied()
{
    Pack pack;
    const auto item = makeItem(1);
    pack.addItem(item);
    QCOMPARE(item->usageSettingsCalls, 0);
    QCOMPARE(item->networkSettingsCalls, 0);
    QCOMPARE(pack.networkUsageSettings(), NetworkUsageSettings());
}

void TestPack::theNewestErrorCounts_data()
{
    QTest::addColumn<QList<int>>("codes");
    QTest::addColumn<QList<int>>("seconds");
    QTest::addColumn<int>("expected");
    QTest::newRow("no item holds an error") << QList<int>{0, 0} << QList<int>{1, 2} << 0;
    QTest::newRow("the newest is the last one") << QList<int>{3, 4} << QList<int>{1, 2} << 4;
    QTest::newRow("the newest is the first one") << QList<int>{3, 4} << QList<int>{5, 2} << 3;
    QTest::newRow("a newer time without an error does not count") << QList<int>{3, 0} << QList<int>{1, 9} << 3;
    QTest::newRow("an error without a time yields to one with a time") << QList<int>{3, 4} << QList<int>{-1, 2} << 4;
    QTest::newRow("an error with a time does not yield to one without") << QList<int>{3, 4} << QList<int>{2, -1} << 3;
}

void TestPack::theNewestErrorCounts()
{
    QFETCH(QList<int>, codes);
    QFETCH(QList<int>, seconds);
    QFETCH(int, expected);
    Pack pack;
    for (int i = 0; i < codes.size(); ++i) {
        const auto item = makeItem(i + 1);
        if (codes.at(i) != 0)
            item->error = {codes.at(i), ErrorCategory::kNetwork, "here", "text"};
        item->errorTime = seconds.at(i) < 0 ? QDateTime() : QDateTime::fromSecsSinceEpoch(seconds.at(i));
        pack.addItem(item);
    }
    QCOMPARE(pack.lastError().code, expected);
    QCOMPARE(pack.lastErrorTime().isValid(), expected != 0);
}

void TestPack::sslErrorsAreThoseOfTheNewestError()
{
    Pack pack;
    const auto older = makeItem(1);
    const auto newer = makeItem(2);
    older->error = newer->error = {6, ErrorCategory::kNetwork, "here", "text"};
    older->errorTime = QDateTime::fromSecsSinceEpoch(1);
    newer->errorTime = QDateTime::fromSecsSinceEpoch(2);
    newer->sslErrors = {QSslError(QSslError::HostNameMismatch)};
    pack.addItem(older);
    pack.addItem(newer);
    QCOMPARE(pack.lastSslErrors(), newer->sslErrors);
    QCOMPARE(pack.lastErrorTime(), newer->errorTime);
}

void TestPack::clearingReachesEveryItem()
{
    Pack pack;
    const auto one = makeItem(1);
    const auto two = makeItem(2);
    one->error = two->error = {6, ErrorCategory::kNetwork, "here", "text"};
    pack.addItem(one);
    pack.addItem(two);
    pack.clearLastError();
    QVERIFY(!one->error);
    QVERIFY(!two->error);
    QVERIFY(!pack.lastError());
}

void TestPack::speedsAreSummedUp()
{
    Pack pack;
    const auto one = makeItem(1);
    const auto two = makeItem(2);
    one->downloadSpeed = 100;
    two->downloadSpeed = 23;
    pack.addItem(one);
    pack.addItem(two);
    QCOMPARE(pack.speed(NetworkTrafficDirection::Download, true), 123);
    QCOMPARE(pack.speed(NetworkTrafficDirection::Upload, true), 0);
}

QTEST_GUILESS_MAIN(TestPack)
#include "tst_abstractnetworkconsumerswithextrataskspack.moc"
