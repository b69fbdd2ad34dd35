// SPDX-License-Identifier: MIT
#include <tests/unit/host/storage/storekinds.h>

#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace
{

using Info = AbstractDownloadPersistentInfo;

QList<qint64> idsOf(const QList<ListEntry> &entries)
{
    QList<qint64> ids;
    for (const ListEntry &entry : entries)
        ids.append(entry.id);
    return ids;
}

}

/// In which order every store keeps its downloads, and how pages of it are read, over each of them.
class TestDownloadStorePlaces : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase_data();
    void init();
    void cleanup();

    void whatIsNewStandsBehindAllOthers();
    void whatIsMovedStandsWhereItWasPut();
    void whatIsMovedOftenStaysInOrder();
    void whoSavesARecordLeavesItsPlaceAlone();
    void aPageByPositionIsCutFromItsOrder();
    void aPageMayBeSortedByWhatALineShows_data();
    void aPageMayBeSortedByWhatALineShows();

private:
    void addMany(int count);
    QList<qint64> idsInOrder() { return idsOf(m_list->page(ListFilter::All, ListOrder::Place, 0, 1000)); }

    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<DownloadStore> m_list;
};

void TestDownloadStorePlaces::initTestCase_data()
{
    StoreKinds::addRows();
}

void TestDownloadStorePlaces::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    m_list = StoreKinds::open(m_dir->path());
    QVERIFY(m_list);
}

void TestDownloadStorePlaces::cleanup()
{
    m_list.reset();
}

void TestDownloadStorePlaces::addMany(int count)
{
    for (int i = 0; i < count; ++i) {
        Info record;
        QVERIFY(m_list->insert(record) > 0);
    }
}

void TestDownloadStorePlaces::whatIsNewStandsBehindAllOthers()
{
    addMany(3);
    QCOMPARE(m_list->move(3, 0), 0);
    addMany(2);
    QCOMPARE(idsInOrder(), (QList<qint64>{3, 1, 2, 4, 5}));
    QVERIFY(m_list->remove(5));
    addMany(1);
    QCOMPARE(idsInOrder(), (QList<qint64>{3, 1, 2, 4, 6}));
}

void TestDownloadStorePlaces::whatIsMovedStandsWhereItWasPut()
{
    addMany(5);
    QList<RowPlace> places;
    QCOMPARE(m_list->move(4, 1, &places), 1);
    QCOMPARE(idsInOrder(), (QList<qint64>{1, 4, 2, 3, 5}));
    QCOMPARE(places, (QList<RowPlace>{{m_list->load(4)->sortIndex, 4}}));
    QCOMPARE(m_list->move(1, 2), 2);
    QCOMPARE(idsInOrder(), (QList<qint64>{4, 2, 1, 3, 5}));
    QCOMPARE(m_list->move(4, 99), 4);
    QCOMPARE(m_list->move(5, -3), 0);
    QCOMPARE(m_list->move(1, 2), 2);
    QCOMPARE(idsInOrder(), (QList<qint64>{5, 2, 1, 3, 4}));
    QCOMPARE(m_list->move(77, 0), -1);
    QVERIFY(m_list->lastFailure());
}

/// Between two rows there is room for few.
void TestDownloadStorePlaces::whatIsMovedOftenStaysInOrder()
{
    constexpr int kRows = 40;
    addMany(kRows);
    QList<qint64> expected = idsInOrder();
    QRandomGenerator dice(5);
    bool hadToMakeRoom = false;
    for (int i = 0; i < 300; ++i) {
        const qint64 from = dice.bounded(kRows);
        const qint64 to = i % 3 == 0 ? dice.bounded(kRows) : 7;
        QList<RowPlace> places;
        QCOMPARE(m_list->move(expected.at(from), to, &places), to);
        expected.move(from, to);
        QCOMPARE(idsInOrder(), expected);
        hadToMakeRoom = hadToMakeRoom || places.size() > 1;
        for (const RowPlace &place : std::as_const(places))
            QCOMPARE(m_list->load(place.id)->sortIndex, place.key);
    }
    QVERIFY(hadToMakeRoom);
}

void TestDownloadStorePlaces::whoSavesARecordLeavesItsPlaceAlone()
{
    addMany(3);
    const Info before = *m_list->load(3);
    QCOMPARE(m_list->move(3, 0), 0);
    QVERIFY(m_list->update(before));
    QCOMPARE(idsInOrder(), (QList<qint64>{3, 1, 2}));
}

void TestDownloadStorePlaces::aPageByPositionIsCutFromItsOrder()
{
    for (int i = 0; i < 8; ++i) {
        Info record;
        record.setFinished(i % 2 == 0, true);
        QVERIFY(m_list->insert(record) > 0);
    }
    DownloadOptions toBeCompared;
    toBeCompared.checksumAlgorithm = u"sha-256"_s;
    QVERIFY(m_list->setOptions(5, toBeCompared));
    QCOMPARE(m_list->move(8, 0), 0);
    const auto ids = [this](ListFilter filter, ListOrder order, qint64 first, int limit) {
        return idsOf(m_list->page(filter, order, first, limit));
    };
    QCOMPARE(ids(ListFilter::All, ListOrder::Place, 0, 3), (QList<qint64>{8, 1, 2}));
    QCOMPARE(ids(ListFilter::All, ListOrder::Place, 6, 3), (QList<qint64>{6, 7}));
    QCOMPARE(ids(ListFilter::All, ListOrder::Place, 8, 3), QList<qint64>());
    QCOMPARE(ids(ListFilter::Unfinished, ListOrder::Place, 0, 9), (QList<qint64>{8, 2, 4, 5, 6}));
    QCOMPARE(ids(ListFilter::Unfinished, ListOrder::Place, 2, 2), (QList<qint64>{4, 5}));
    QCOMPARE(ids(ListFilter::Done, ListOrder::Place, 1, 2), (QList<qint64>{3, 7}));
    QCOMPARE(ids(ListFilter::All, ListOrder::Newest, 1, 2), (QList<qint64>{7, 6}));
    QCOMPARE(ids(ListFilter::Unfinished, ListOrder::Newest, 1, 3), (QList<qint64>{6, 5, 4}));
    QCOMPARE(ids(ListFilter::Done, ListOrder::Newest, 0, 0), QList<qint64>());
}

void TestDownloadStorePlaces::aPageMayBeSortedByWhatALineShows_data()
{
    using Ids = QList<qint64>;
    QTest::addColumn<ListFilter>("filter");
    QTest::addColumn<ListOrder>("order");
    QTest::addColumn<Ids>("ids");
    QTest::newRow("names as a person sorts them, equal ones the newest first")
        << ListFilter::All << ListOrder::Name << Ids{5, 2, 3, 1, 4};
    QTest::newRow("sizes, the unknown first") << ListFilter::All << ListOrder::Size << Ids{5, 4, 3, 1, 2};
    QTest::newRow("times, the unknown first") << ListFilter::All << ListOrder::Created << Ids{4, 5, 3, 2, 1};
    QTest::newRow("names of the unfinished") << ListFilter::Unfinished << ListOrder::Name << Ids{2, 1, 4};
    QTest::newRow("sizes of the finished") << ListFilter::Done << ListOrder::Size << Ids{5, 3};
}

void TestDownloadStorePlaces::aPageMayBeSortedByWhatALineShows()
{
    QFETCH(const ListFilter, filter);
    QFETCH(const ListOrder, order);
    QFETCH(const QList<qint64>, ids);
    const auto add = [this](const QList<AbstractDownloadFileInfo> &files, int secondsAgo, bool isFinished) {
        Info record;
        record.url = QUrl(u"http://a/x"_s);
        record.files = files;
        if (secondsAgo >= 0)
            record.creationTime = QDateTime::fromSecsSinceEpoch(1700000000 - secondsAgo);
        record.setFinished(isFinished, true);
        QVERIFY(m_list->insert(record) > 0);
    };
    const auto file = [](const QString &name, qint64 size) {
        AbstractDownloadFileInfo info;
        info.name = name;
        info.size = size;
        return info;
    };
    add({file(u"File10"_s, 300)}, 1, false);
    add({file(u"file2"_s, 200), file(u"b"_s, 200)}, 2, false);
    add({file(u"file010"_s, 20), file(u"a"_s, 20)}, 3, true);
    add({}, -1, false);
    add({file(u"FILE1"_s, 10), file(u"a"_s, -1)}, 3, true);
    const QList<ListEntry> whole = m_list->page(filter, order, 0, 100);
    QCOMPARE(idsOf(whole), ids);
    QCOMPARE(idsOf(m_list->page(filter, order, 1, 2)), ids.mid(1, 2));
}

QTEST_GUILESS_MAIN(TestDownloadStorePlaces)
#include "tst_downloadstore_places.moc"
