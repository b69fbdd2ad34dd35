// SPDX-License-Identifier: MIT
#include <host/storage/downloadlist.h>
#include <host/storage/processidentity.h>
#include <tests/unit/host/storage/randomrecord.h>
#include <tests/unit/host/storage/shell.h>

#include <QProcess>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <memory>

using namespace Qt::StringLiterals;

using Info = AbstractDownloadPersistentInfo;

/// A list that several processes use, and whose a download is.
class TestDownloadListProcesses : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void twoListsUseOneFile();
    void aSecondOneTakesNoLocksFromTheFirst_data();
    void aSecondOneTakesNoLocksFromTheFirst();

    void whatOthersChangeIsNoticed();

    void aDownloadHasOneOwner();
    void anOwnerThatDiedIsNone();
    void anOwnerThatCannotBeSeenIsOneUntilItsEnd_data();
    void anOwnerThatCannotBeSeenIsOneUntilItsEnd();
    void whoOwnsSomethingPutsItsEndOff();
    void aReleasedDownloadIsFree();
    void releasingSomebodyElsesDownloadDoesNothing();
    void claimingNothingFails();
    void aNewDownloadOfThisProcessIsThereAtOnce();
    void aClaimReadsWhatIsThere();
    void whatIsAnothersIsNotRead();

private:
    QString path() const { return m_dir->filePath(u"data/plait/downloads.sqlite"_s); }
    void openList(DownloadList &list) const { QVERIFY2(list.open(path()), qPrintable(list.lastFailure().plain())); }

    std::unique_ptr<QTemporaryDir> m_dir;
};

void TestDownloadListProcesses::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
}

void TestDownloadListProcesses::twoListsUseOneFile()
{
    constexpr int kEach = 40;
    const auto fill = [this](bool *done) {
        DownloadList list;
        *done = list.open(path());
        for (int i = 0; i < kEach && *done; ++i) {
            Info record = randomRecord(quint32(i));
            *done = list.insert(record) > 0 && list.update(record);
        }
    };
    bool otherDone = false;
    bool done = false;
    std::unique_ptr<QThread> other(QThread::create(fill, &otherDone));
    other->start();
    fill(&done);
    QVERIFY(other->wait());
    QVERIFY(done);
    QVERIFY(otherDone);
    DownloadList list;
    openList(list);
    QCOMPARE(list.list().size(), 2 * kEach);
}

void TestDownloadListProcesses::aSecondOneTakesNoLocksFromTheFirst_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("under the usual name") << u"a.sqlite"_s;
    QTest::newRow("under one that has to be looked into first") << u"a.list"_s;
}

/// A process that finds no locks on the file when it closes it takes itself for the last one, and removes the log that
/// others still write to.
void TestDownloadListProcesses::aSecondOneTakesNoLocksFromTheFirst()
{
    QFETCH(QString, name);
    const QString file = m_dir->filePath(name);
    DownloadList first;
    QVERIFY2(first.open(file), qPrintable(first.lastFailure().plain()));
    Info record;
    QVERIFY(first.insert(record) > 0);
    {
        DownloadList second;
        QVERIFY2(second.open(file), qPrintable(second.lastFailure().plain()));
        QCOMPARE(second.list().size(), 1);
    }
    const QStringList words{file, u"SELECT count(*) FROM downloads"_s};
    QCOMPARE(QProcess::execute(u"sqlite3"_s, words), 0);
    QVERIFY2(QFile::exists(file + "-wal"_L1), "the first one still writes to it");
    Info later;
    QVERIFY(first.insert(later) > 0);
    QProcess reader;
    reader.start(u"sqlite3"_s, words);
    QVERIFY(reader.waitForFinished());
    QCOMPARE(reader.readAllStandardOutput().trimmed(), QByteArray("2"));
}

void TestDownloadListProcesses::whatOthersChangeIsNoticed()
{
    DownloadList list;
    DownloadList other;
    openList(list);
    openList(other);
    const auto changes = [](DownloadList &of) {
        qint64 number = 0;
        of.count(ListFilter::All, &number);
        return number;
    };
    const qint64 before = changes(list);
    QVERIFY(before != 0);
    Info own;
    QVERIFY(list.insert(own) != 0);
    QCOMPARE(changes(list), before);
    Info others;
    QVERIFY(other.insert(others) != 0);
    const qint64 after = changes(list);
    QVERIFY(after != before);
    QCOMPARE(changes(list), after);
    qint64 told = 0;
    list.askOthersChanges(nullptr, [&told](qint64 number) { told = number; });
    QCOMPARE(told, after);
}

void TestDownloadListProcesses::aDownloadHasOneOwner()
{
    DownloadList list;
    openList(list);
    Info record;
    QVERIFY(list.insert(record) > 0);
    QProcess other;
    other.start(u"cat"_s, {});
    QVERIFY(other.waitForStarted());
    const ProcessIdentity identity = ProcessIdentity::ofProcess(other.processId());
    {
        const Shell shell(path());
        QVERIFY(shell
                    .value(u"UPDATE downloads SET owner_pid = %1, owner_start_time = %2, owner_boot_id = '%3'"_s
                               .arg(identity.pid)
                               .arg(identity.startTime)
                               .arg(identity.bootId))
                    .isNull());
    }
    DownloadStore::Owner owner;
    QCOMPARE(list.claim(record.id, &owner), DownloadList::Claim::OwnedByOther);
    QCOMPARE(owner.process, identity);
    QCOMPARE(owner.secondsLeft, 0);
    other.closeWriteChannel();
    QVERIFY(other.waitForFinished());
    QCOMPARE(list.claim(record.id), DownloadList::Claim::Taken);
    QCOMPARE(list.claim(record.id), DownloadList::Claim::Taken);
}

void TestDownloadListProcesses::anOwnerThatDiedIsNone()
{
    DownloadList list;
    openList(list);
    Info record;
    QVERIFY(list.insert(record) > 0);
    QCOMPARE(list.claim(record.id), DownloadList::Claim::Taken);
    {
        const Shell shell(path());
        QVERIFY(shell.value(u"UPDATE downloads SET owner_start_time = owner_start_time - 1"_s).isNull());
    }
    QCOMPARE(list.claim(record.id), DownloadList::Claim::Taken);
    const Shell shell(path());
    QCOMPARE(shell.value(u"SELECT owner_start_time FROM downloads"_s).toLongLong(),
             ProcessIdentity::current().startTime);
}

void TestDownloadListProcesses::anOwnerThatCannotBeSeenIsOneUntilItsEnd_data()
{
    QTest::addColumn<QString>("place");
    QTest::addColumn<int>("seconds");
    QTest::addColumn<DownloadList::Claim>("answer");
    const QString here = ProcessIdentity::current().bootId;
    QTest::newRow("its end lies ahead") << u"elsewhere"_s << 60 << DownloadList::Claim::OwnedByOther;
    QTest::newRow("its end has passed") << u"elsewhere"_s << -1 << DownloadList::Claim::Taken;
    QTest::newRow("it runs in another container") << here + u'1' << 60 << DownloadList::Claim::OwnedByOther;
    QTest::newRow("it ran in another container") << here + u'1' << -1 << DownloadList::Claim::Taken;
    QTest::newRow("it ran here") << here << 60 << DownloadList::Claim::Taken;
}

/// Nobody can see from here whether it lives.
void TestDownloadListProcesses::anOwnerThatCannotBeSeenIsOneUntilItsEnd()
{
    QFETCH(QString, place);
    QFETCH(int, seconds);
    QFETCH(DownloadList::Claim, answer);
    DownloadList list;
    openList(list);
    Info record;
    QVERIFY(list.insert(record) > 0);
    Info mine;
    QVERIFY(list.insertOwned(mine, {}) > 0);
    const Shell shell(path());
    QVERIFY(shell.value(u"INSERT INTO owners VALUES ('%1', 1, 2, 'a', unixepoch() + %2)"_s.arg(place).arg(seconds))
                .isNull());
    QVERIFY(shell
                .value(u"UPDATE downloads SET owner_pid = 1, owner_start_time = 2, owner_boot_id = '%1' WHERE id = %2"_s
                           .arg(place)
                           .arg(record.id))
                .isNull());
    const qint64 shown = answer == DownloadList::Claim::OwnedByOther ? 1 : 0;
    QCOMPARE(list.page(ListFilter::All, 10).last().owner.pid, shown);
    QCOMPARE(list.page(ListFilter::All, ListOrder::Place, 0, 10).first().owner.pid, shown);
    QCOMPARE(list.claim(record.id), answer);
}

void TestDownloadListProcesses::whoOwnsSomethingPutsItsEndOff()
{
    DownloadList list;
    openList(list);
    list.renewClaims();
    const Shell shell(path());
    QVERIFY2(shell.value(u"SELECT until FROM owners"_s).isNull(), "who owns nothing says nothing");
    Info record;
    QVERIFY(list.insertOwned(record, {}) > 0);
    QVERIFY(shell.value(u"SELECT until > unixepoch() FROM owners"_s).toBool());
    QVERIFY(shell.value(u"UPDATE owners SET until = unixepoch() - 1"_s).isNull());
    list.renewClaims();
    QVERIFY(shell.value(u"SELECT until > unixepoch() FROM owners"_s).toBool());
    QCOMPARE(shell.value(u"SELECT count(*) FROM owners"_s).toInt(), 1);
}

void TestDownloadListProcesses::aReleasedDownloadIsFree()
{
    DownloadList list;
    openList(list);
    Info record;
    QVERIFY(list.insert(record) > 0);
    QCOMPARE(list.claim(record.id), DownloadList::Claim::Taken);
    QVERIFY2(list.update(record), "saving leaves the owner alone");
    QVERIFY2(list.release(record.id), qPrintable(list.lastFailure().plain()));
    const Shell shell(path());
    QVERIFY(shell.value(u"SELECT owner_pid FROM downloads"_s).isNull());
}

void TestDownloadListProcesses::releasingSomebodyElsesDownloadDoesNothing()
{
    DownloadList list;
    openList(list);
    Info record;
    QVERIFY(list.insert(record) > 0);
    {
        const Shell shell(path());
        QVERIFY(
            shell.value(u"UPDATE downloads SET owner_pid = 1, owner_start_time = 2, owner_boot_id = 'x'"_s).isNull());
    }
    QVERIFY(!list.release(record.id));
    const Shell shell(path());
    QCOMPARE(shell.value(u"SELECT owner_pid FROM downloads"_s).toInt(), 1);
}

void TestDownloadListProcesses::claimingNothingFails()
{
    DownloadList list;
    openList(list);
    QCOMPARE(list.claim(5), DownloadList::Claim::Failed);
    QVERIFY(list.lastFailure().plain().contains(u"not-of-this-process"_s));
}

void TestDownloadListProcesses::aNewDownloadOfThisProcessIsThereAtOnce()
{
    DownloadList list;
    openList(list);
    Info record = randomRecord(1);
    DownloadOptions options;
    options.rateLimit = 1000;
    QVERIFY2(list.insertOwned(record, options) > 0, qPrintable(list.lastFailure().plain()));
    QCOMPARE(list.load(record.id), record);
    QCOMPARE(list.options(record.id), options);
    const Shell shell(path());
    QCOMPARE(shell.value(u"SELECT owner_pid FROM downloads"_s).toLongLong(), ProcessIdentity::current().pid);

    QVERIFY(
        shell.value(u"CREATE TRIGGER t BEFORE INSERT ON options BEGIN SELECT RAISE(ABORT, 'full'); END"_s).isNull());
    Info other;
    QCOMPARE(list.insertOwned(other, options), 0);
    QCOMPARE(other.id, 0);
    // The trigger makes it a damaged list, which the shell still has open.
    QCOMPARE(list.lastFailure().kind, Failure::Kind::ListDamaged);
    QVERIFY2(shell.value(u"SELECT count(*) FROM downloads"_s).toInt() == 1, "all of it or nothing");
}

void TestDownloadListProcesses::aClaimReadsWhatIsThere()
{
    DownloadList list;
    openList(list);
    Info record = randomRecord(1);
    QVERIFY(list.insert(record) > 0);
    DownloadOptions options;
    options.connections = 5;
    QVERIFY(list.setOptions(record.id, options));
    QVERIFY(list.update(record, {{u"1:2"_s}, {}, {}}, DownloadList::Lasting::ThisRunOfTheMachine));
    for (const QString &title : {u"one"_s, u"two"_s}) {
        // Somebody else's change, even of what is this process's already.
        QVERIFY(Shell(path()).value(u"UPDATE downloads SET title = '%1'"_s.arg(title)).isNull());
        record.title = title;
        Lease taken;
        QCOMPARE(list.claim(record.id, taken), DownloadList::Claim::Taken);
        QCOMPARE(taken.record, record);
        QCOMPARE(taken.options, options);
        QCOMPARE(taken.file.text, u"1:2"_s);
    }
    QVERIFY(list.release(record.id));
    Lease taken;
    QCOMPARE(list.claim(record.id + 1, taken), DownloadList::Claim::Failed);
}

void TestDownloadListProcesses::whatIsAnothersIsNotRead()
{
    DownloadList list;
    openList(list);
    Info record = randomRecord(1);
    QVERIFY(list.insert(record) > 0);
    const ProcessIdentity first = ProcessIdentity::ofProcess(1);
    QVERIFY(Shell(path())
                .value(u"UPDATE downloads SET owner_pid = 1, owner_start_time = %1, owner_boot_id = '%2'"_s
                           .arg(first.startTime)
                           .arg(first.bootId))
                .isNull());
    Lease taken;
    DownloadStore::Owner owner;
    QCOMPARE(list.claim(record.id, taken, &owner), DownloadList::Claim::OwnedByOther);
    QCOMPARE(owner.process, first);
    QCOMPARE(taken.record, Info());
}

QTEST_GUILESS_MAIN(TestDownloadListProcesses)
#include "tst_downloadlist_processes.moc"
