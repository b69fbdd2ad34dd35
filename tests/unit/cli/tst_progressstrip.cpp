// SPDX-License-Identifier: MIT
#include <cli/progressstrip.h>

#include <QTest>

#include <limits>

using namespace Qt::StringLiterals;

namespace
{

constexpr qint64 kLargest = std::numeric_limits<qint64>::max();
constexpr TerminalLook kAscii = {false, false};

DownloadStatus statusOf(qint64 total, const QList<AbstractDownloadSection> &sections,
                        const QList<qint64> &fetching = {})
{
    DownloadStatus status;
    status.total = total;
    status.sections = sections;
    status.fetching = fetching;
    return status;
}

}

Q_DECLARE_METATYPE(DownloadStatus)

class TestProgressStrip : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cells_data();
    void cells();
    void unknownSizesHaveNone();
    void everyKindOfCellLooksDifferent_data();
    void everyKindOfCellLooksDifferent();
    void coloursAreOnlyWhereTheyAreAllowed();
};

void TestProgressStrip::cells_data()
{
    QTest::addColumn<DownloadStatus>("status");
    QTest::addColumn<QString>("strip");

    QTest::newRow("nothing is there") << statusOf(100, {}) << u"[..........]"_s;
    QTest::newRow("a section that has nothing yet") << statusOf(100, {{0, 100, 0}}) << u"[..........]"_s;
    QTest::newRow("everything") << statusOf(100, {{0, 100, 100}}) << u"[##########]"_s;
    QTest::newRow("the first half") << statusOf(100, {{0, 100, 50}}) << u"[#####.....]"_s;
    QTest::newRow("an open section") << statusOf(100, {{0, -1, 50}}) << u"[#####.....]"_s;
    QTest::newRow("a byte short of a cell") << statusOf(100, {{0, 100, 49}}) << u"[####+.....]"_s;
    QTest::newRow("the first byte") << statusOf(100, {{0, 100, 1}}) << u"[+.........]"_s;
    QTest::newRow("all but the last byte") << statusOf(100, {{0, 100, 99}}) << u"[#########+]"_s;
    QTest::newRow("several sections") << statusOf(100, {{0, 30, 20}, {30, 40, 5}, {70, 30, 30}}) << u"[##.+...###]"_s;
    QTest::newRow("sections that share a full cell") << statusOf(100, {{0, 5, 5}, {5, 95, 5}}) << u"[#.........]"_s;
    QTest::newRow("sections that share a cell with a hole")
        << statusOf(100, {{0, 5, 4}, {5, 95, 5}}) << u"[+.........]"_s;
    QTest::newRow("bytes arrive") << statusOf(100, {{0, 50, 20}, {50, 50, 5}}, {20, 55}) << u"[##>..>....]"_s;
    QTest::newRow("bytes arrive at the very beginning") << statusOf(100, {{0, 100, 0}}, {0}) << u"[>.........]"_s;
    QTest::newRow("bytes arrive behind the end") << statusOf(100, {{0, 100, 100}}, {100}) << u"[##########]"_s;
    QTest::newRow("two arrive in one cell") << statusOf(100, {}, {1, 2}) << u"[>.........]"_s;
    QTest::newRow("a size that cells do not divide") << statusOf(7, {{0, 7, 3}}) << u"[#####.....]"_s;
    QTest::newRow("a single byte that is there") << statusOf(1, {{0, 1, 1}}) << u"[##########]"_s;
    QTest::newRow("an empty file is whole") << statusOf(0, {}) << u"[##########]"_s;
    QTest::newRow("the largest size") << statusOf(kLargest, {{0, kLargest, kLargest / 2 - 1}}) << u"[####+.....]"_s;
    QTest::newRow("all of the largest size") << statusOf(kLargest, {{0, kLargest, kLargest}}) << u"[##########]"_s;
}

void TestProgressStrip::cells()
{
    QFETCH(DownloadStatus, status);
    QTEST(ProgressStrip::text(ProgressStrip::cells(status, 10), kAscii), "strip");
}

void TestProgressStrip::unknownSizesHaveNone()
{
    QVERIFY(ProgressStrip::cells(statusOf(-1, {{0, -1, 500}}, {500}), 10).isEmpty());
}

void TestProgressStrip::everyKindOfCellLooksDifferent_data()
{
    QTest::addColumn<bool>("unicode");
    QTest::addColumn<QString>("strip");

    QTest::newRow("in Unicode") << true << u"[░▒█►]"_s;
    QTest::newRow("in ASCII") << false << u"[.+#>]"_s;
}

void TestProgressStrip::everyKindOfCellLooksDifferent()
{
    using ProgressStrip::Cell;
    QFETCH(bool, unicode);
    const QList<Cell> cells = {Cell::Empty, Cell::Partly, Cell::Filled, Cell::Fetching};
    QTEST(ProgressStrip::text(cells, {unicode, false}), "strip");
}

void TestProgressStrip::coloursAreOnlyWhereTheyAreAllowed()
{
    using ProgressStrip::Cell;
    const QList<Cell> cells = {Cell::Filled, Cell::Filled, Cell::Fetching};
    QCOMPARE(ProgressStrip::text(cells, {false, true}), u"[\u001b[36m##\u001b[m\u001b[1;32m>\u001b[m]"_s);
    QCOMPARE(ProgressStrip::text(cells, {false, false}), u"[##>]"_s);
}

QTEST_GUILESS_MAIN(TestProgressStrip)
#include "tst_progressstrip.moc"
