// SPDX-License-Identifier: MIT
#include <host/storage/downloadlist.h>
#include <host/storage/storethread.h>
#include <tests/support/sqlfile.h>

#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <memory>

using namespace Qt::StringLiterals;

namespace
{

using Info = AbstractDownloadPersistentInfo;

Info titled(qint64 id, const QString &title)
{
    Info record;
    record.id = id;
    record.title = title;
    return record;
}

}

/// A list in a thread of its own; what all stores do is tested with the others.
class TestStoreThread : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void aSaveIsAnsweredInOrderAndNotFromInside();
    void whatIsAskedLaterSeesTheSavesBefore();
    void savesGoOnWhileAnotherProcessIsAtTheList();
    void theEndWaitsForWhatWasBegun();
    void whoHasGoneIsNotTold();
    void aFailedSaveSaysWhy();
    void aStoreThatCannotBeOpenedSaysWhy();
    void whatIsNotOpenFails();
    void whoLivesPutsItsEndOff();

private:
    QString path() const { return m_dir->filePath(u"list.sqlite"_s); }
    /// Its answer goes into the words.
    void save(const QString &title, QObject *context)
    {
        m_store->save(titled(m_id, title), {}, context,
                      [this, title](const Failure &failure) { m_words.append(title + failure.plain()); });
    }

    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<StoreThread> m_store;
    QStringList m_words;
    qint64 m_id = 0;
};

void TestStoreThread::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    m_store = std::make_unique<StoreThread>();
    m_words.clear();
    QVERIFY2(m_store->open({path()}), qPrintable(m_store->lastFailure().plain()));
    Info record;
    m_id = m_store->insert(record);
    QVERIFY(m_id > 0);
}

void TestStoreThread::cleanup()
{
    m_store.reset();
}

void TestStoreThread::aSaveIsAnsweredInOrderAndNotFromInside()
{
    for (const QString &title : {u"a"_s, u"b"_s, u"c"_s})
        save(title, this);
    QVERIFY(m_words.isEmpty());
    QTRY_COMPARE(m_words, (QStringList{u"a"_s, u"b"_s, u"c"_s}));
}

void TestStoreThread::whatIsAskedLaterSeesTheSavesBefore()
{
    for (int i = 0; i < 50; ++i)
        save(QString::number(i), this);
    QCOMPARE(m_store->load(m_id)->title, u"49"_s);
}

void TestStoreThread::savesGoOnWhileAnotherProcessIsAtTheList()
{
    const SqlFile other(path());
    QVERIFY(other.run(u"BEGIN IMMEDIATE"_s));
    save(u"late"_s, this);
    QVERIFY2(m_words.isEmpty(), "nobody waited for it");
    QCOMPARE(other.value(u"SELECT title FROM downloads"_s).toString(), QString());
    QVERIFY(other.run(u"COMMIT"_s));
    QTRY_COMPARE(m_words, QStringList{u"late"_s});
    QCOMPARE(other.value(u"SELECT title FROM downloads"_s).toString(), u"late"_s);
}

void TestStoreThread::theEndWaitsForWhatWasBegun()
{
    for (int i = 0; i < 50; ++i)
        save(QString::number(i), this);
    m_store.reset();
    QCOMPARE(SqlFile(path()).value(u"SELECT title FROM downloads"_s).toString(), u"49"_s);
    QVERIFY2(!QFile::exists(path() + "-wal"_L1), "it was closed");
}

void TestStoreThread::whoHasGoneIsNotTold()
{
    auto context = std::make_unique<QObject>();
    save(u"unheard"_s, context.get());
    context.reset();
    save(u"heard"_s, this);
    QTRY_COMPARE(m_words, QStringList{u"heard"_s});
}

void TestStoreThread::aFailedSaveSaysWhy()
{
    m_id = 77;
    save(u"nobody's: "_s, this);
    QTRY_COMPARE(m_words.size(), 1);
    QVERIFY2(m_words.first().startsWith(u"nobody's: not-of-this-process"_s), qPrintable(m_words.first()));
}

void TestStoreThread::aStoreThatCannotBeOpenedSaysWhy()
{
    StoreThread store;
    QVERIFY(!store.open({m_dir->path()}));
    QVERIFY2(store.lastFailure().plain().contains(u"a-folder"_s), qPrintable(store.lastFailure().plain()));
    QCOMPARE(store.path(), m_dir->path());
    QVERIFY(!store.load(1));
}

void TestStoreThread::whatIsNotOpenFails()
{
    StoreThread store;
    QCOMPARE(store.claim(1), DownloadStore::Claim::Failed);
    QVERIFY(store.lastFailure().plain().contains(u"list-not-open"_s));
    store.save(titled(1, {}), {}, this, [this](const Failure &failure) { m_words.append(failure.plain()); });
    QTRY_COMPARE(m_words.size(), 1);
    QVERIFY(m_words.first().contains(u"list-not-open"_s));
}

/// Else other machines would take what it works on.
void TestStoreThread::whoLivesPutsItsEndOff()
{
    m_store = std::make_unique<StoreThread>(1);
    QVERIFY(m_store->open({path()}));
    QCOMPARE(m_store->claim(m_id), DownloadStore::Claim::Taken);
    const SqlFile list(path());
    QVERIFY(list.run(u"UPDATE owners SET until = 1"_s));
    QTRY_VERIFY(list.value(u"SELECT until FROM owners"_s).toLongLong() > 1);
}

QTEST_GUILESS_MAIN(TestStoreThread)
#include "tst_storethread.moc"
