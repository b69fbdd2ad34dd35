// SPDX-License-Identifier: MIT
#include <host/storage/downloadlist.h>
#include <host/storage/processidentity.h>
#include <tests/unit/host/storage/shell.h>

#include <QTemporaryDir>
#include <QTest>
#include <QTimeZone>

#include <memory>

using namespace Qt::StringLiterals;

namespace
{

using Info = AbstractDownloadPersistentInfo;

KnownAddress redirected()
{
    KnownAddress address{
        QUrl(u"http://given.example/a%20b?c=d"_s), QUrl(u"https://target.example/x?token=%2F"_s), 3, {}};
    address.identity.etag = "\"strong\"";
    address.identity.lastModified = QDateTime(QDate(2024, 2, 29), QTime(23, 59, 59), QTimeZone::utc());
    address.identity.total = 5'000'000'000;
    address.identity.digest = "sha-256=aGk=";
    return address;
}

/// What some servers put there is no text in any encoding.
KnownAddress withOddBytes()
{
    KnownAddress address{QUrl(u"ftp://mirror.example/f"_s), {}, 0, {}};
    address.identity.weakEtag = QByteArray("\"\xff\xfe\0\x80'\"", 7);
    return address;
}

ResourceMemory memory()
{
    ResourceMemory memory{{redirected(), withOddBytes()}, {}};
    memory.evidence.answers = 2;
    memory.evidence.doubt = Evidence::Doubt::ValidatorVanished;
    memory.evidence.isEndKnown = false;
    memory.evidence.address = redirected().url;
    memory.evidence.etag = QByteArray("\"\xc3\x28\"");
    return memory;
}

}

/// What is remembered of a download's resource, in the list.
class TestDownloadListMemory : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void itComesBackToTheByte_data();
    void itComesBackToTheByte();
    void whereNothingWasKeptItIsEmpty();
    void itStaysUntilAnotherIsSaid();
    void whoTakesADownloadGetsItToo();
    void itGoesWithItsDownload();
    void itSurvivesItsProgram();
    void anUnknownDoubtIsADoubt();

private:
    QString path() const { return m_dir->filePath(u"list.sqlite"_s); }
    qint64 insert();
    bool save(qint64 id, const std::optional<ResourceMemory> &memory);

    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<DownloadList> m_list;
};

void TestDownloadListMemory::init()
{
    m_list.reset();
    m_dir = std::make_unique<QTemporaryDir>();
    m_list = std::make_unique<DownloadList>();
    QVERIFY2(m_list->open(path()), qPrintable(m_list->lastFailure().plain()));
}

qint64 TestDownloadListMemory::insert()
{
    Info info;
    info.url = redirected().url;
    return m_list->insert(info);
}

bool TestDownloadListMemory::save(qint64 id, const std::optional<ResourceMemory> &memory)
{
    const std::optional<Info> record = m_list->load(id);
    return record
        && m_list->update(*record, DownloadList::Holdings{{}, {}, memory}, DownloadList::Lasting::ThisRunOfTheMachine);
}

void TestDownloadListMemory::itComesBackToTheByte_data()
{
    QTest::addColumn<ResourceMemory>("memory");
    QTest::newRow("nothing") << ResourceMemory();
    QTest::newRow("an address that redirects") << ResourceMemory{{redirected()}, {}};
    QTest::newRow("bytes that are no text") << ResourceMemory{{withOddBytes()}, {}};
    QTest::newRow("everything") << memory();
}

void TestDownloadListMemory::itComesBackToTheByte()
{
    QFETCH(ResourceMemory, memory);
    const qint64 id = insert();
    QVERIFY2(save(id, memory), qPrintable(m_list->lastFailure().plain()));
    QCOMPARE(m_list->memory(id), memory);
}

void TestDownloadListMemory::whereNothingWasKeptItIsEmpty()
{
    QCOMPARE(m_list->memory(insert()), ResourceMemory());
    QCOMPARE(m_list->memory(12345), ResourceMemory());
}

void TestDownloadListMemory::itStaysUntilAnotherIsSaid()
{
    const qint64 id = insert();
    const qint64 other = insert();
    QVERIFY(save(id, memory()) && save(other, ResourceMemory{{redirected()}, {}}));
    QVERIFY(save(id, std::nullopt));
    QCOMPARE(m_list->memory(id), memory());
    QVERIFY(save(id, ResourceMemory{{withOddBytes()}, {}}));
    QCOMPARE(m_list->memory(id), (ResourceMemory{{withOddBytes()}, {}}));
    QVERIFY(save(id, ResourceMemory()));
    QCOMPARE(m_list->memory(id), ResourceMemory());
    QCOMPARE(m_list->memory(other), (ResourceMemory{{redirected()}, {}}));
}

void TestDownloadListMemory::whoTakesADownloadGetsItToo()
{
    const qint64 id = insert();
    QVERIFY(save(id, memory()));
    Lease taken;
    DownloadStore::Owner owner;
    QCOMPARE(m_list->claim(id, taken, &owner), DownloadList::Claim::Taken);
    QCOMPARE(taken.memory, memory());
}

void TestDownloadListMemory::itGoesWithItsDownload()
{
    const qint64 id = insert();
    QVERIFY(save(id, memory()));
    QVERIFY(m_list->remove(id));
    QCOMPARE(m_list->memory(id), ResourceMemory());
    m_list.reset();
    const Shell shell(path());
    QCOMPARE(shell.value(u"SELECT (SELECT count(*) FROM addresses) + (SELECT count(*) FROM evidence)"_s).toInt(), 0);
}

void TestDownloadListMemory::itSurvivesItsProgram()
{
    const qint64 id = insert();
    QVERIFY(save(id, memory()));
    m_list = std::make_unique<DownloadList>();
    QVERIFY(m_list->open(path()));
    QCOMPARE(m_list->memory(id), memory());
}

void TestDownloadListMemory::anUnknownDoubtIsADoubt()
{
    const qint64 id = insert();
    QVERIFY(save(id, memory()));
    QVERIFY(Shell(path()).value(u"UPDATE evidence SET doubt = 99"_s).isNull());
    QCOMPARE(m_list->memory(id).evidence.doubt, Evidence::Doubt::Unknown);
}

QTEST_GUILESS_MAIN(TestDownloadListMemory)

#include "tst_downloadlist_memory.moc"
