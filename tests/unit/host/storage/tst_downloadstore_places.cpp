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
    QCOMPARE(ids(ListFilter::Finished, ListOrder::Place, 1, 2), (QList<qint64>{3, 5}));
    QCOMPARE(ids(ListFilter::All, ListOrder::Newest, 1, 2), (QList<qint64>{7, 6}));
    QCOMPARE(ids(ListFilter::Unfinished, ListOrder::Newest, 1, 3), (QList<qint64>{6, 5, 4}));
    QCOMPARE(ids(ListFilter::Finished, ListOrder::Newest, 0, 0), QList<qint64>());
}

QTEST_GUILESS_MAIN(TestDownloadStorePlaces)
#include "tst_downloadstore_places.moc"
