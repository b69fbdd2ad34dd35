// SPDX-License-Identifier: MIT
#include <host/storage/downloadlist.h>
#include <host/storage/memorystore.h>
#include <tests/unit/host/storage/randomrecord.h>

#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>

#include <array>
#include <functional>

using namespace Qt::StringLiterals;

namespace
{

using Info = AbstractDownloadPersistentInfo;

constexpr quint32 kSeeds = 20;
constexpr int kSteps = 60;
constexpr int kIds = 12; ///< some of them nobody's

/// The same things are done with each of several stores, and what they answer is compared.
class Both
{
public:
    Both(DownloadStore &one, DownloadStore &other)
        : m_stores{&one, &other}
    {
    }

    /// @param work answers what it found
    template<typename Work>
    bool agree(const Work &work) const
    {
        const auto first = work(*m_stores.front());
        return work(*m_stores.back()) == first;
    }

private:
    std::array<DownloadStore *, 2> m_stores;
};

bool isSame(const ListEntry &a, const ListEntry &b)
{
    return a.id == b.id && a.placeKey == b.placeKey && a.name == b.name && a.url == b.url && a.folder == b.folder
        && a.size == b.size && a.done == b.done && a.finished == b.finished && a.hasChecksum == b.hasChecksum
        && a.checksumResult == b.checksumResult && a.evidence == b.evidence && a.owner == b.owner && a.error == b.error
        && a.creationTime == b.creationTime && a.finishedTime == b.finishedTime && a.errorTime == b.errorTime;
}

/// Of few addresses, folders and names, so that some are of the same request.
Info someRecord(QRandomGenerator &dice, qint64 id)
{
    Info record = randomRecord(dice.generate());
    record.id = id;
    record.url = QUrl(u"http://a/%1"_s.arg(dice.bounded(3)));
    record.folder = u"/f%1"_s.arg(dice.bounded(2));
    // More would have no sum.
    for (AbstractDownloadFileInfo &file : record.files) {
        file.size = qint64(dice.bounded(1000)) - 10;
        file.pathOnDisk = dice.bounded(2) ? u"a.part"_s : QString();
        for (AbstractDownloadSection &section : file.sections)
            section.downloaded = dice.bounded(1000);
    }
    return record;
}

DownloadOptions someOptions(QRandomGenerator &dice)
{
    DownloadOptions options;
    options.rateLimit = dice.bounded(3);
    options.checksumAlgorithm = dice.bounded(2) ? u"sha-256"_s : QString();
    options.checksumResult = ChecksumResult(dice.bounded(3));
    options.user = u"u"_s;
    options.headers = {{u"X-A"_s, u"1"_s, u"*"_s}};
    options.storeSecrets = dice.bounded(2) == 1;
    return options;
}

DownloadStore::Holdings someHoldings(QRandomGenerator &dice)
{
    DownloadStore::Holdings holdings;
    holdings.file.text = dice.bounded(2) ? u"1:%1"_s.arg(dice.bounded(9)) : QString();
    holdings.contentEncoding = dice.bounded(2) ? u"gzip"_s : QString();
    if (dice.bounded(2)) {
        holdings.memory.emplace();
        holdings.memory->addresses = {{QUrl(u"http://a/x"_s), {}, 1, {}}};
        holdings.memory->evidence.answers = int(dice.bounded(3));
        holdings.memory->evidence.address = QUrl(u"http://a/x"_s);
    }
    return holdings;
}

}

/// Two stores of which the same is asked are the same, row by row.
class TestStoresAlike : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void whateverIsDoneTheyAgree_data();
    void whateverIsDoneTheyAgree();

private:
    static bool agreesOnAStep(const Both &both, QRandomGenerator &dice);
    static bool agreesOnRows(const Both &both);
    static bool agreesOnOne(const Both &both, qint64 id);

    QTemporaryDir m_dir;
};

bool TestStoresAlike::agreesOnAStep(const Both &both, QRandomGenerator &dice)
{
    const qint64 id = 1 + dice.bounded(kIds);
    const qint64 position = qint64(dice.bounded(kIds)) - 1;
    const Info record = someRecord(dice, id);
    const DownloadOptions options = someOptions(dice);
    const DownloadStore::Holdings holdings = someHoldings(dice);
    const std::function<qint64(DownloadStore &)> steps[] = {
        [&](DownloadStore &store) {
            Info inserted = record;
            return store.insert(inserted) + inserted.id;
        },
        [&](DownloadStore &store) {
            Info inserted = record;
            return store.insertOwned(inserted, options);
        },
        [&](DownloadStore &store) {
            return qint64(store.update(record, holdings, DownloadStore::Lasting::ThisRunOfTheMachine));
        },
        [&](DownloadStore &store) { return qint64(store.setOptions(id, options)); },
        [&](DownloadStore &store) { return qint64(store.setDigestResult(id, ChecksumResult::Equal)); },
        [&](DownloadStore &store) { return store.move(id, position); },
        [&](DownloadStore &store) { return qint64(store.claim(id)); },
        [&](DownloadStore &store) { return qint64(store.release(id)); },
        [&](DownloadStore &store) { return qint64(store.remove(id)); },
    };
    return both.agree(steps[dice.bounded(int(std::size(steps)))])
        && both.agree([](DownloadStore &store) { return store.lastFailure().plain().isEmpty(); });
}

bool TestStoresAlike::agreesOnOne(const Both &both, qint64 id)
{
    return both.agree([id](DownloadStore &store) { return store.load(id); })
        && both.agree([id](DownloadStore &store) { return store.options(id); })
        && both.agree([id](DownloadStore &store) { return store.memory(id); })
        && both.agree([id](DownloadStore &store) { return store.fileIdentity(id).text; })
        && both.agree([id](DownloadStore &store) { return store.contentEncoding(id); });
}

bool TestStoresAlike::agreesOnRows(const Both &both)
{
    for (const ListFilter filter : {ListFilter::All, ListFilter::Unfinished, ListFilter::Done}) {
        QList<ListEntry> expected;
        const auto isAsExpected = [&](DownloadStore &store) {
            QList<ListEntry> page = store.page(filter, 3);
            page += store.page(filter, 100, page.isEmpty() ? 0 : page.last().id);
            for (const ListOrder order :
                 {ListOrder::Place, ListOrder::Newest, ListOrder::Name, ListOrder::Size, ListOrder::Created})
                page += store.page(filter, order, 0, 2) + store.page(filter, order, 2, 100);
            expected = expected.isEmpty() ? page : expected;
            return std::equal(page.cbegin(), page.cend(), expected.cbegin(), expected.cend(), isSame);
        };
        if (!both.agree(isAsExpected) || !both.agree([filter](DownloadStore &store) { return store.count(filter); }))
            return false;
    }
    return both.agree([](DownloadStore &store) { return store.list(); })
        && both.agree([](DownloadStore &store) { return store.loadUnfinished(); })
        && both.agree([](DownloadStore &store) { return store.findByUrl(QUrl(u"http://a/1"_s), 2); })
        && both.agree([](DownloadStore &store) { return store.isBegun(u"/f1"_s, u"a.part"_s, 1); })
        && both.agree([](DownloadStore &store) { return store.findUnfinished(QUrl(u"http://a/1"_s), u"/f1"_s, {}); })
        && both.agree([](DownloadStore &store) { return store.findFinished(QUrl(u"http://a/1"_s), u"/f1"_s, {}, 2); });
}

void TestStoresAlike::whateverIsDoneTheyAgree_data()
{
    QTest::addColumn<quint32>("seed");
    for (quint32 seed = 0; seed < kSeeds; ++seed)
        QTest::addRow("seed %u", seed) << seed;
}

void TestStoresAlike::whateverIsDoneTheyAgree()
{
    QFETCH(quint32, seed);
    QRandomGenerator dice(seed);
    DownloadList kept;
    MemoryStore inMemory;
    QVERIFY2(kept.open(m_dir.filePath(u"%1.sqlite"_s.arg(seed))), qPrintable(kept.lastFailure().plain()));
    const Both both(kept, inMemory);
    for (int step = 0; step < kSteps; ++step) {
        QVERIFY2(agreesOnAStep(both, dice), qPrintable(u"step %1"_s.arg(step)));
        QVERIFY2(agreesOnRows(both), qPrintable(u"rows after step %1"_s.arg(step)));
        for (qint64 id = 1; id <= kIds; ++id)
            QVERIFY2(agreesOnOne(both, id), qPrintable(u"download %1 after step %2"_s.arg(id).arg(step)));
    }
}

QTEST_GUILESS_MAIN(TestStoresAlike)
#include "tst_stores_alike.moc"
