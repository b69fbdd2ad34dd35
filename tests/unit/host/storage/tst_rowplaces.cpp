// SPDX-License-Identifier: MIT
#include <host/storage/rowplaces.h>

#include <QTest>

#include <algorithm>
#include <limits>

using namespace Qt::StringLiterals;

namespace
{

constexpr qint64 kGap = RowPlaces::kGap;
constexpr qint64 kLeast = std::numeric_limits<qint64>::min();
constexpr qint64 kMost = std::numeric_limits<qint64>::max();

using Keys = QList<qint64>;
using Key = std::optional<qint64>;

/// Rows with these keys, and numbers from 1 on.
QList<RowPlace> rowsWith(const Keys &keys)
{
    QList<RowPlace> rows;
    for (const qint64 key : keys)
        rows.append({key, rows.size() + 1});
    return rows;
}

}

class TestRowPlaces : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void whatIsNewComesBehindTheLast();
    void keysLieEvenlyBetween_data();
    void keysLieEvenlyBetween();
    void rowsMakeRoomWhereThereIsNone_data();
    void rowsMakeRoomWhereThereIsNone();
    void whoCannotReadTheOthersMovesNothing();
};

void TestRowPlaces::whatIsNewComesBehindTheLast()
{
    QCOMPARE(RowPlaces::keyBehind({}), kGap);
    QCOMPARE(RowPlaces::keyBehind(-5), kGap - 5);
    QCOMPARE(RowPlaces::keyBehind(kMost - 1), kMost);
    QCOMPARE(RowPlaces::keyBehind(kMost), kMost);
}

void TestRowPlaces::keysLieEvenlyBetween_data()
{
    QTest::addColumn<Key>("before");
    QTest::addColumn<Key>("behind");
    QTest::addColumn<int>("count");
    QTest::addColumn<Keys>("keys");
    QTest::newRow("in the middle") << Key(0) << Key(100) << 1 << Keys{50};
    QTest::newRow("three of them") << Key(0) << Key(100) << 3 << Keys{25, 50, 75};
    QTest::newRow("just enough room") << Key(7) << Key(10) << 2 << Keys{8, 9};
    QTest::newRow("not enough room") << Key(7) << Key(10) << 3 << Keys{};
    QTest::newRow("none between two of one key") << Key(7) << Key(7) << 1 << Keys{};
    QTest::newRow("none where keys go back") << Key(kMost) << Key(kLeast) << 1 << Keys{};
    QTest::newRow("before all") << Key() << Key(0) << 1 << Keys{-kGap};
    QTest::newRow("behind all") << Key(5) << Key() << 2 << Keys{5 + kGap, 5 + 2 * kGap};
    QTest::newRow("alone") << Key() << Key() << 1 << Keys{kGap};
    QTest::newRow("at the least key") << Key() << Key(kLeast) << 1 << Keys{};
    QTest::newRow("at the greatest key") << Key(kMost) << Key() << 1 << Keys{};
    QTest::newRow("between the least and the greatest") << Key(kLeast) << Key(kMost) << 1 << Keys{kLeast + kMost / 2};
}

void TestRowPlaces::keysLieEvenlyBetween()
{
    QFETCH(Key, before);
    QFETCH(Key, behind);
    QFETCH(int, count);
    QFETCH(Keys, keys);
    QCOMPARE(RowPlaces::keysBetween(before, behind, count), keys);
}

void TestRowPlaces::rowsMakeRoomWhereThereIsNone_data()
{
    QTest::addColumn<Keys>("keys");
    QTest::addColumn<int>("position");
    QTest::addColumn<int>("touched");
    Keys close;
    Keys apart;
    for (int i = 0; i < 100; ++i) {
        close.append(i);
        apart.append(i * kGap);
    }
    QTest::newRow("room enough") << apart << 50 << 1;
    QTest::newRow("the end") << close << 100 << 1;
    QTest::newRow("the beginning") << close << 0 << 1;
    QTest::newRow("no room up to the end") << close << 50 << 51;
    QTest::newRow("no room here, and much a little further on") << close.first(10) + apart.sliced(1) << 5 << 17;
    QTest::newRow("all of one key") << Keys(30, 4) << 10 << 21;
    QTest::newRow("all of the greatest key") << Keys(30, kMost) << 10 << 31;
    QTest::newRow("all of the least key") << Keys(30, kLeast) << 0 << 31;
    QTest::newRow("the list's only row") << Keys{} << 0 << 1;
}

void TestRowPlaces::rowsMakeRoomWhereThereIsNone()
{
    QFETCH(Keys, keys);
    QFETCH(int, position);
    QFETCH(int, touched);
    QList<RowPlace> rows = rowsWith(keys);
    constexpr qint64 kMoved = 1000;
    const auto places = RowPlaces::moved(kMoved, position, [&](qint64 first, qint64 count) {
        return rows.sliced(first, std::min<qint64>(count, rows.size() - first));
    });
    QVERIFY(places);
    QCOMPARE(places->size(), touched);
    QList<qint64> expected;
    for (const RowPlace &row : std::as_const(rows))
        expected.append(row.id);
    expected.insert(position, kMoved);
    for (const RowPlace &place : *places) {
        rows.removeIf([&](const RowPlace &row) { return row.id == place.id; });
        rows.append(place);
    }
    std::sort(rows.begin(), rows.end());
    QList<qint64> ids;
    for (const RowPlace &row : std::as_const(rows))
        ids.append(row.id);
    QCOMPARE(ids, expected);
}

void TestRowPlaces::whoCannotReadTheOthersMovesNothing()
{
    QVERIFY(!RowPlaces::moved(1, 0, [](qint64, qint64) { return std::nullopt; }));
}

QTEST_GUILESS_MAIN(TestRowPlaces)
#include "tst_rowplaces.moc"
