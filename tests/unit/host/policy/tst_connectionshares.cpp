// SPDX-License-Identifier: MIT
#include <host/policy/connectionshares.h>

#include <QTest>

using ConnectionShares::Item;
using Bound = ConnectionsBound;
using Items = QList<Item>;
using Shares = QHash<qint64, qint64>;

class TestConnectionShares : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aLimitIsSharedOut_data();
    void aLimitIsSharedOut();
    void neverMoreThanTheLimitIsSharedOut();
    void aModuleIsToldWhatTheOthersHaveBesides_data();
    void aModuleIsToldWhatTheOthersHaveBesides();
};

void TestConnectionShares::aLimitIsSharedOut_data()
{
    QTest::addColumn<qint64>("limit");
    QTest::addColumn<Items>("items");
    QTest::addColumn<Shares>("shares");
    const auto row = [](const char *name, qint64 limit, const Items &items, const Shares &shares) {
        QTest::newRow(name) << limit << items << shares;
    };
    row("without a limit each keeps its own", 0, {{1, 8}, {2, 3}, {3}}, {{1, 8}, {2, 3}, {3, 0}});
    row("one alone has all that it may have", 20, {{1, 8}}, {{1, 8}});
    row("one alone has no more than there is", 5, {{1, 8}}, {{1, 5}});
    row("one without a limit of its own has all", 20, {{1}}, {{1, 20}});
    row("two have half each", 8, {{1, 8}, {2, 8}}, {{1, 4}, {2, 4}});
    row("what cannot be divided goes to some", 6, {{1, 8}, {2, 8}, {3, 8}, {4, 8}}, {{1, 1}, {2, 1}, {3, 2}, {4, 2}});
    row("an own limit leaves the rest to the others", 8, {{1, 8}, {2, 1}}, {{1, 7}, {2, 1}});
    row("none is shut off", 2, {{1, 8}, {2, 8}, {3, 8}}, {{1, 1}, {2, 1}, {3, 1}});
    row("for the one that is to begin its share is kept", 8, {{1, 8, 4}, {0, 8}}, {{1, 4}});
    row("what cannot be divided goes to one that runs", 3, {{0, 8}, {1, 8}}, {{1, 2}});
    row("without ranges one is enough, and the others have the rest", 8, {{1, 8, 1, Bound::RangesNotHonoured}, {2, 8}},
        {{1, 1}, {2, 7}});
    row("without a size, likewise", 8, {{1, 8, 1, Bound::SizeUnknown}, {2, 8}}, {{1, 1}, {2, 7}});
    row("and one that has no connection at the moment keeps room for it", 8, {{1, 8, 0, Bound::SizeUnknown}, {2, 8}},
        {{1, 1}, {2, 7}});
    row("too small for more: room for one more is all it has", 8, {{1, 8, 2, Bound::TooSmallToSplit}, {2, 8}},
        {{1, 3}, {2, 5}});
    row("so has one whose server refused another", 8, {{1, 8, 2, Bound::AnotherFailed}, {2, 8}}, {{1, 3}, {2, 5}});
    row("so has one with enough to its server", 8, {{1, 8, 1, Bound::ConnectionsPerServer}, {2, 8}}, {{1, 2}, {2, 6}});
    row("disk space comes, and connections with it", 8, {{1, 8, 1, Bound::SpaceNotTaken}, {2, 8}}, {{1, 4}, {2, 4}});
    row("who was bounded by the limit may have more", 8, {{1, 8, 2, Bound::Connections}, {2, 8, 6}}, {{1, 4}, {2, 4}});
    row("nobody", 8, {}, {});
}

void TestConnectionShares::aLimitIsSharedOut()
{
    QFETCH(qint64, limit);
    QFETCH(Items, items);
    QTEST(ConnectionShares::distribute(limit, items), "shares");
}

void TestConnectionShares::neverMoreThanTheLimitIsSharedOut()
{
    constexpr qint64 kLimit = 23;
    const Items items{{1, 8}, {2, 8, 3, Bound::TooSmallToSplit}, {3}, {4, 1}, {5, 20, 1, Bound::SizeUnknown}, {0, 8}};
    const Shares shares = ConnectionShares::distribute(kLimit, items);
    qint64 sum = 0;
    for (const qint64 share : shares)
        sum += share;
    QVERIFY(sum <= kLimit);
    QCOMPARE(shares.size(), 5);
}

void TestConnectionShares::aModuleIsToldWhatTheOthersHaveBesides_data()
{
    QTest::addColumn<qint64>("most");
    QTest::addColumn<qint64>("others");
    QTest::addColumn<qint64>("overall");
    QTest::addColumn<qint64>("told");
    const auto row = [](const char *name, qint64 most, qint64 others, qint64 overall, qint64 told) {
        QTest::newRow(name) << most << others << overall << told;
    };
    row("no limit at all", 0, 5, 0, 0);
    row("a limit of its own, and no others", 8, 0, 0, 8);
    row("a limit of its own beside others", 8, 5, 0, 13);
    row("one of all that is smaller", 8, 5, 10, 10);
    row("one of all that is larger", 8, 5, 20, 13);
    row("one of all alone", 0, 5, 10, 10);
}

void TestConnectionShares::aModuleIsToldWhatTheOthersHaveBesides()
{
    QFETCH(qint64, most);
    QFETCH(qint64, others);
    QFETCH(qint64, overall);
    QTEST(ConnectionShares::toldLimit(most, others, overall), "told");
}

QTEST_GUILESS_MAIN(TestConnectionShares)
#include "tst_connectionshares.moc"
