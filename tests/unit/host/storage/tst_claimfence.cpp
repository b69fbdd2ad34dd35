// SPDX-License-Identifier: MIT
#include <host/storage/claimfence.h>
#include <host/storage/storethread.h>
#include <tests/support/sqlfile.h>

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <memory>

using namespace Qt::StringLiterals;

namespace
{

const QString kUntil = u"SELECT until FROM owners"_s;

}

/// What a process hears of its claims after it has stood still.
class TestClaimFence : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void whileItIsSureNobodyIsAsked();
    void afterAStandstillItIsKnownWhoHasTheDownload();
    void afterAStandstillWhatIsStillOursIsRenewedAndSureAgain();
    void whoCameTooLateWithoutBeingAskedTellsAndIsDoubted();
    void whatIsRemovedIsLost();
    void aListThatTakesNothingStopsNothing();
    void aListThatTakesNothingStillSaysWhoHasTheDownload();
    void thoseWhoWriteAskInTheirOwnThread();

private:
    /// With a claim of its own; the end of the process's last renewal has come.
    void open(int renewMs = Owners::kRenewMs, qint64 sureMs = Owners::kSureMs);
    void loseIt() const
    {
        QVERIFY(m_other->run(u"UPDATE downloads SET fence = fence + 1, owner_pid = 77, owner_boot_id = 'there'"_s));
    }

    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<StoreThread> m_list;
    std::unique_ptr<ClaimFence> m_fence;
    std::unique_ptr<SqlFile> m_other;
};

void TestClaimFence::init()
{
    m_fence.reset();
    m_list.reset();
    m_other.reset();
    m_dir = std::make_unique<QTemporaryDir>();
}

void TestClaimFence::open(int renewMs, qint64 sureMs)
{
    const QString path = m_dir->filePath(u"list.sqlite"_s);
    m_list = std::make_unique<StoreThread>(renewMs, sureMs);
    QVERIFY(m_list->open({path}));
    AbstractDownloadPersistentInfo record;
    Lease lease;
    QVERIFY(m_list->insert(record) > 0);
    QCOMPARE(m_list->claim(record.id, lease), DownloadStore::Claim::Taken);
    m_fence = std::make_unique<ClaimFence>(*m_list, record.id, lease.fence);
    m_other = std::make_unique<SqlFile>(path);
    QVERIFY(m_other->run(u"UPDATE owners SET until = 1"_s));
}

/// Who writes block after block has no time for more.
void TestClaimFence::whileItIsSureNobodyIsAsked()
{
    open();
    loseIt();
    QVERIFY(m_fence->holds());
    QCOMPARE(m_other->value(kUntil).toInt(), 1);
}

void TestClaimFence::afterAStandstillItIsKnownWhoHasTheDownload()
{
    constexpr qint64 kNever = -1;
    open(Owners::kRenewMs, kNever);
    QVERIFY(m_fence->holds());
    QVERIFY(!m_fence->lost());
    loseIt();
    QVERIFY(!m_fence->holds());
    QCOMPARE(m_fence->lost().kind, Failure::Kind::OwnedByOther);
    QCOMPARE(m_fence->lost().number, 77);
    QVERIFY(m_other->run(u"UPDATE downloads SET fence = fence - 1"_s));
    QVERIFY2(!m_fence->holds(), "it is another claim's file by now");
}

void TestClaimFence::afterAStandstillWhatIsStillOursIsRenewedAndSureAgain()
{
    open();
    m_list->doubt();
    QVERIFY(m_fence->holds());
    QVERIFY2(m_other->value(kUntil).toLongLong() > 1, "nobody takes it from now on");
    loseIt();
    QVERIFY2(m_fence->holds(), "so nobody is asked again");
}

/// Its next renewal may come before the first that writes: that something was lost meanwhile is not forgotten by it.
void TestClaimFence::whoCameTooLateWithoutBeingAskedTellsAndIsDoubted()
{
    constexpr int kOften = 1;
    open(kOften);
    loseIt();
    const QSignalSpy lapsed(m_list.get(), &StoreThread::lapsed);
    m_list->doubt();
    QTRY_COMPARE(lapsed.size(), 1);
    QVERIFY(!m_fence->holds());
    QCOMPARE(m_fence->lost().number, 77);
}

void TestClaimFence::whatIsRemovedIsLost()
{
    open();
    QVERIFY(m_other->run(u"DELETE FROM downloads"_s));
    m_list->doubt();
    QVERIFY(!m_fence->holds());
    QCOMPARE(m_fence->lost().number, 0);
}

void TestClaimFence::aListThatTakesNothingStopsNothing()
{
    open();
    QVERIFY(m_other->run(u"BEGIN IMMEDIATE"_s));
    m_list->doubt();
    QVERIFY(m_fence->holds());
    QVERIFY(m_other->run(u"ROLLBACK"_s));
    QCOMPARE(m_other->value(kUntil).toInt(), 1);
}

void TestClaimFence::aListThatTakesNothingStillSaysWhoHasTheDownload()
{
    open();
    loseIt();
    QVERIFY(m_other->run(u"BEGIN IMMEDIATE"_s));
    m_list->doubt();
    QVERIFY(!m_fence->holds());
    QVERIFY(m_other->run(u"ROLLBACK"_s));
}

void TestClaimFence::thoseWhoWriteAskInTheirOwnThread()
{
    open();
    loseIt();
    m_list->doubt();
    bool holds = true;
    const std::unique_ptr<QThread> writers(QThread::create([&] { holds = m_fence->holds(); }));
    writers->start();
    QVERIFY(writers->wait());
    QVERIFY(!holds);
}

QTEST_GUILESS_MAIN(TestClaimFence)
#include "tst_claimfence.moc"
