// SPDX-License-Identifier: MIT
#include <host/engine/unsavedleases.h>
#include <host/options/optionchanges.h>
#include <host/options/optiontable.h>
#include <host/storage/downloadlist.h>
#include <tests/support/ordinaryuser.h>
#include <tests/support/sqlfile.h>
#include <tests/unit/host/engine/queuebench.h>
#include <tests/unit/host/engine/queuesteps.h>

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QDir>
#include <QFileInfo>
#include <QTest>
#include <QTimer>

#include <csignal>
#include <optional>

#include <sys/resource.h>
#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace
{

/// No file of this process may grow beyond so many bytes, as on a disk that is full, for as long as this object lives.
class FullDisk
{
    Q_DISABLE_COPY_MOVE(FullDisk)

public:
    explicit FullDisk(qint64 bytes)
        : m_handler(std::signal(SIGXFSZ, SIG_IGN))
    {
        ::getrlimit(RLIMIT_FSIZE, &m_before);
        rlimit limit = m_before;
        limit.rlim_cur = rlim_t(bytes);
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }

    ~FullDisk()
    {
        ::setrlimit(RLIMIT_FSIZE, &m_before);
        std::signal(SIGXFSZ, m_handler);
    }

private:
    void (*const m_handler)(int);
    rlimit m_before{};
};

/// What is to be made up for is tried now.
void tryAgain(const QueueBench &bench)
{
    auto *const unsaved = bench.session->findChild<UnsavedLeases *>();
    QMetaObject::invokeMethod(unsaved->findChild<QTimer *>(), "timeout");
}

/// Nobody may open these files, for as long as this object lives; what is open already stays so. For their folder,
/// which everybody may write to, it is the same as before.
class Forbidden
{
    Q_DISABLE_COPY_MOVE(Forbidden)

public:
    explicit Forbidden(const QStringList &paths)
        : m_paths(paths)
    {
        ::chmod(QFile::encodeName(QFileInfo(paths.first()).path()).constData(), 0777);
        for (const QString &path : m_paths)
            ::chmod(QFile::encodeName(path).constData(), 0);
        m_user.emplace();
    }

    ~Forbidden()
    {
        m_user.reset();
        for (const QString &path : m_paths)
            ::chmod(QFile::encodeName(path).constData(), 0600);
    }

    bool isOk() const { return m_user->isOk() && !QFile(m_paths.first()).open(QIODevice::ReadOnly); }

private:
    const QStringList m_paths;
    std::optional<OrdinaryUser> m_user;
};

/// What rests has rested for long enough now.
void endRest(const QueueBench &bench)
{
    const QList<QTimer *> timers = bench.queue->findChildren<QTimer *>();
    for (QTimer *const timer : timers) {
        if (timer->isSingleShot() && timer->isActive())
            QMetaObject::invokeMethod(timer, "timeout");
    }
}

/// From now on a process has it of which nobody here can see whether it lives.
bool giveToUnseen(const SqlFile &list, qint64 id)
{
    return list.run(u"INSERT INTO owners (boot_id, pid, start_time, machine, until) "
                    u"VALUES ('there', 7, 8, 'a', unixepoch() + 43)"_s)
        && list.run(u"UPDATE downloads SET owner_pid = 7, owner_start_time = 8, owner_boot_id = 'there' WHERE id = ?"_s,
                    {id});
}

qint64 sizeOfLog(const QueueBench &bench)
{
    return QFileInfo(bench.listPath() + "-wal"_L1).size();
}

}

/// A list that fills up, goes away or becomes another's while downloads run.
class TestListTrouble : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aFullListStopsNoDownload();
    void ofAFullListPeopleAreToldOnce();
    void whatWasSavedBeforeItWasFullIsThereAfterwards();
    void whatFinishedWhileItWasFullIsInItLater_data();
    void whatFinishedWhileItWasFullIsInItLater();
    void howAFileComparesThatFinishedWhileItWasFullIsInItLater_data();
    void howAFileComparesThatFinishedWhileItWasFullIsInItLater();
    void whatIsNotWrittenYetBeginsNothing();
    void whatSomebodyElseHasClaimedSinceIsNotWrittenLater();
    void whereTheListDoesNotTakeBackNothingBegins_data();
    void whereTheListDoesNotTakeBackNothingBegins();
    void whatIsToBeginWaitsForAListThatIsInUse();
    void aListWhoseFolderIsGoneStopsNoDownload();
    void aListThatNobodyMayOpenAnyMoreStopsNoDownload();
    void whatSomebodyElseHasClaimedEndsWithWhoHasIt();
    void whatSomebodyElseHasRemovedIsNotSaidToBeSaved();
    void whatCannotBeReadIsNotTakenForChanged_data();
    void whatCannotBeReadIsNotTakenForChanged();
    void whatAProcessHasThatMayHaveDiedIsWaitedForOnce_data();
    void whatAProcessHasThatMayHaveDiedIsWaitedForOnce();
    void whatWaitsForAProcessLeavesItsPlaceToOthers();
};

void TestListTrouble::aFullListStopsNoDownload()
{
    QueueBench bench;
    QList<qint64> ids;
    for (int i = 0; i < 4; ++i)
        ids.append(bench.append(u"done"_s));
    bench.session->list().count(ListFilter::All);
    {
        const FullDisk full(sizeOfLog(bench));
        QVERIFY(bench.run());
    }
    for (const qint64 id : std::as_const(ids)) {
        QCOMPARE(bench.outcomeOf(id).failure.kind, Failure::Kind::None);
        QVERIFY(QFileInfo::exists(bench.outcomeOf(id).info.filePath(0)));
    }
}

void TestListTrouble::ofAFullListPeopleAreToldOnce()
{
    QueueBench bench;
    QList<Failure> told;
    connect(bench.session.get(), &DownloadSession::warned, &bench,
            [&told](qint64, const Failure &what) { told.append(what); });
    for (int i = 0; i < 4; ++i)
        bench.append(u"done"_s);
    bench.session->list().count(ListFilter::All);
    const FullDisk full(sizeOfLog(bench));
    QVERIFY(bench.run());
    QCOMPARE(told.size(), 1);
    QCOMPARE(told.first().kind, Failure::Kind::CannotChangeList);
    QCOMPARE(told.first().subject.path, bench.listPath());
}

void TestListTrouble::whatWasSavedBeforeItWasFullIsThereAfterwards()
{
    QueueBench bench;
    const qint64 before = bench.append(u"done"_s);
    QVERIFY(bench.run());
    const qint64 during = bench.append(u"done"_s);
    bench.session->list().count(ListFilter::All);
    {
        const FullDisk full(sizeOfLog(bench));
        QVERIFY(bench.run());
    }
    QVERIFY(bench.session->record(before)->isFinished());
    QVERIFY2(bench.session->record(during).has_value(), "it can be resumed");
    const qint64 after = bench.append(u"done"_s);
    QVERIFY(bench.run());
    QVERIFY(bench.session->record(after)->isFinished());
    QCOMPARE(SqlFile(bench.listPath()).value(u"PRAGMA integrity_check"_s).toString(), u"ok"_s);
}

void TestListTrouble::whatFinishedWhileItWasFullIsInItLater_data()
{
    QTest::addColumn<std::function<void(QueueBench &)>>("how");
    const auto row = [](const char *name, const std::function<void(QueueBench &)> &how) { QTest::newRow(name) << how; };
    row("by itself", [](QueueBench &bench) { tryAgain(bench); });
    row("with the next that is added", [](QueueBench &bench) { bench.add(u"done"_s); });
    row("before one of them begins anew", [](QueueBench &bench) {
        Failure failure;
        for (const DownloadOutcome &outcome : std::as_const(bench.outcomes))
            QVERIFY(bench.session->hold(outcome.id, &failure));
    });
    row("at the end", [](QueueBench &bench) {
        bench.queue.reset();
        bench.session.reset();
    });
}

void TestListTrouble::whatFinishedWhileItWasFullIsInItLater()
{
    QFETCH(std::function<void(QueueBench &)>, how);
    QueueBench bench;
    for (int i = 0; i < 3; ++i)
        bench.append(u"done"_s);
    bench.session->list().count(ListFilter::All);
    const SqlFile list(bench.listPath());
    const QString finished = u"SELECT count(*) FROM downloads WHERE finished"_s;
    {
        const FullDisk full(sizeOfLog(bench));
        QVERIFY(bench.run());
        tryAgain(bench);
        bench.session->list().count(ListFilter::All);
    }
    QCOMPARE(list.value(finished).toInt(), 0);
    how(bench);
    QTRY_COMPARE(list.value(finished).toInt(), 3);
}

void TestListTrouble::howAFileComparesThatFinishedWhileItWasFullIsInItLater_data()
{
    QTest::addColumn<bool>("isGiven");
    QTest::addColumn<DownloadState>("fullFrom");
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<ChecksumResult>("result");
    const QByteArray right(kFileSize, 'x');
    const auto rows = [](const char *name, bool isGiven, const QByteArray &content, ChecksumResult result) {
        const QByteArray checksum(name);
        QTest::newRow(checksum + ", full all the time") << isGiven << DownloadState::Running << content << result;
        QTest::newRow(checksum + ", full behind the last byte")
            << isGiven << DownloadState::Hashing << content << result;
    };
    rows("the right checksum", true, right, ChecksumResult::Equal);
    rows("a wrong checksum", true, "another file", ChecksumResult::Different);
    rows("the right digest of the server", false, right, ChecksumResult::Equal);
    rows("a wrong digest of the server", false, "another file", ChecksumResult::Different);
}

void TestListTrouble::howAFileComparesThatFinishedWhileItWasFullIsInItLater()
{
    QFETCH(bool, isGiven);
    QFETCH(DownloadState, fullFrom);
    QFETCH(QByteArray, content);
    QFETCH(ChecksumResult, result);
    QueueBench bench;
    DownloadOptions options;
    options.checksumAlgorithm = u"sha-256"_s;
    options.checksumHex = QString::fromLatin1(QCryptographicHash::hash(content, QCryptographicHash::Sha256).toHex());
    const qint64 id = isGiven ? bench.append(u"done"_s, options) : appendWithDigest(bench, content);
    std::optional<FullDisk> full;
    connect(bench.queue.get(), &DownloadQueue::stateChanged, &bench, [&](qint64, DownloadState, DownloadState to) {
        if (to != fullFrom)
            return;
        bench.session->list().count(ListFilter::All);
        full.emplace(sizeOfLog(bench));
    });
    QVERIFY(bench.run());
    const bool isEqual = result == ChecksumResult::Equal;
    QCOMPARE(bench.outcomeOf(id).assurance.key(), isEqual ? u"verified"_s : QString());
    tryAgain(bench);
    const auto entry = [&] { return bench.session->list().page(ListFilter::All, 1).first(); };
    QVERIFY(!entry().isDone());
    QCOMPARE(entry().checksumResult, ChecksumResult::NotCompared);
    full.reset();
    tryAgain(bench);
    QTRY_VERIFY(bench.session->findChild<UnsavedLeases *>()->isEmpty());
    QVERIFY(entry().finished);
    QVERIFY(entry().isDone() == isEqual);
    QCOMPARE((isGiven ? entry().checksumResult : entry().evidence.digest), result);
}

/// Whoever asked hears that it is the list that does not take anything.
void TestListTrouble::whatIsNotWrittenYetBeginsNothing()
{
    QueueBench bench;
    const qint64 id = bench.append(u"done"_s);
    bench.session->list().count(ListFilter::All);
    const FullDisk full(sizeOfLog(bench));
    QVERIFY(bench.run());
    Failure failure;
    QVERIFY(!bench.session->hold(id, &failure));
    QCOMPARE(failure.kind, Failure::Kind::CannotChangeList);
    QCOMPARE(bench.add(u"done"_s), qint64(0));
    QCOMPARE(bench.error.kind, Failure::Kind::CannotChangeList);
}

void TestListTrouble::whatSomebodyElseHasClaimedSinceIsNotWrittenLater()
{
    QueueBench bench;
    bench.append(u"done"_s);
    bench.session->list().count(ListFilter::All);
    {
        const FullDisk full(sizeOfLog(bench));
        QVERIFY(bench.run());
    }
    const SqlFile other(bench.listPath());
    QVERIFY(other.run(u"UPDATE downloads SET fence = fence + 1, owner_pid = 1, title = 'theirs'"_s));
    tryAgain(bench);
    QTRY_VERIFY(bench.session->findChild<UnsavedLeases *>()->isEmpty());
    QCOMPARE(other.value(u"SELECT title FROM downloads"_s).toString(), u"theirs"_s);
    QCOMPARE(other.value(u"SELECT finished FROM downloads"_s).toInt(), 0);
}

void TestListTrouble::whereTheListDoesNotTakeBackNothingBegins_data()
{
    QTest::addColumn<QString>("steps");
    QTest::addColumn<bool>("isAnew");
    QTest::addColumn<int>("length");
    const QString kept = u"fail/HttpError/404/500+;done"_s;
    QTest::newRow("the file lost its end") << kept << false << 100;
    QTest::newRow("the file is gone") << kept << false << -1;
    QTest::newRow("the file was finished, and is gone") << u"done"_s << false << -1;
    QTest::newRow("all of it is to be fetched anew") << kept << true << 500;
    QTest::newRow("all of what is finished is to be fetched anew") << u"done"_s << true << kFileSize;
}

/// Else the next one who comes finds a file that is long enough again, and believes the list.
void TestListTrouble::whereTheListDoesNotTakeBackNothingBegins()
{
    QFETCH(QString, steps);
    QFETCH(bool, isAnew);
    QFETCH(int, length);
    QueueBench bench;
    const qint64 id = bench.append(steps);
    QVERIFY(bench.run());
    const DownloadStore::Record before = *bench.session->record(id);
    QFile file(before.filePath(0));
    QVERIFY(length < 0 ? file.remove() : file.resize(length));
    Failure failure;
    QVERIFY(bench.session->hold(id, &failure));
    bench.outcomes.clear();
    {
        const FullDisk full(sizeOfLog(bench));
        QVERIFY(bench.queue->append(id, isAnew ? DownloadQueue::Job::Restart : DownloadQueue::Job::Download));
        QVERIFY(bench.run());
    }
    QCOMPARE(bench.outcomeOf(id).failure.kind, Failure::Kind::CannotChangeList);
    QCOMPARE(bench.outcomeOf(id).failure.subject.path, bench.listPath());
    QCOMPARE(bench.session->record(id)->bytesDownloaded(false), before.bytesDownloaded(false));
    QCOMPARE(QFileInfo(file).exists() ? QFileInfo(file).size() : -1, length);
    bench.outcomes.clear();
    QVERIFY(bench.queue->append(id, isAnew ? DownloadQueue::Job::Restart : DownloadQueue::Job::Download));
    QVERIFY(bench.run());
    QCOMPARE(bench.outcomeOf(id).failure.kind, Failure::Kind::None);
    QCOMPARE(QFileInfo(bench.outcomeOf(id).info.filePath(0)).size(), kFileSize);
}

void TestListTrouble::whatIsToBeginWaitsForAListThatIsInUse()
{
    QueueBench bench;
    QList<Failure> told;
    connect(bench.queue.get(), &DownloadQueue::warned, &bench,
            [&told](qint64, const Failure &what) { told.append(what); });
    const qint64 id = bench.add(u"done"_s);
    const SqlFile other(bench.listPath());
    QVERIFY(other.run(u"BEGIN IMMEDIATE"_s));
    QVERIFY(bench.queue->append(id));
    QTRY_COMPARE(bench.queue->state(id), std::optional(DownloadState::Resting));
    QCOMPARE(told.size(), 1);
    QCOMPARE(told.first().kind, Failure::Kind::CannotChangeList);
    QVERIFY(other.run(u"ROLLBACK"_s));
    QVERIFY(bench.run());
    QCOMPARE(bench.endsOf(id), 1);
    QCOMPARE(bench.outcomeOf(id).failure.kind, Failure::Kind::None);
    QVERIFY(bench.session->record(id)->isFinished());
    QCOMPARE(told.size(), 1);
}

void TestListTrouble::aListWhoseFolderIsGoneStopsNoDownload()
{
    QueueBench bench;
    const qint64 id = bench.bring(QueueBench::Place::Running);
    for (const QLatin1StringView suffix : {""_L1, "-wal"_L1, "-shm"_L1})
        QVERIFY(QFile::remove(bench.listPath() + suffix));
    const qint64 next = bench.append(u"done"_s);
    bench.session->stop(id);
    QVERIFY(bench.run());
    QCOMPARE(bench.outcomeOf(next).failure.kind, Failure::Kind::None);
    QVERIFY(QFileInfo::exists(bench.outcomeOf(next).info.filePath(0)));
}

void TestListTrouble::aListThatNobodyMayOpenAnyMoreStopsNoDownload()
{
    QueueBench bench;
    const qint64 running = bench.bring(QueueBench::Place::Running);
    qint64 next = 0;
    {
        const Forbidden forbidden({bench.listPath(), bench.listPath() + "-wal"_L1, bench.listPath() + "-shm"_L1});
        QVERIFY(forbidden.isOk());
        next = bench.append(u"done"_s);
        QVERIFY2(next != 0, "it is open");
        bench.session->stop(running);
        QVERIFY(bench.run());
    }
    QCOMPARE(bench.outcomeOf(running).failure.kind, Failure::Kind::Stopped);
    QCOMPARE(bench.outcomeOf(next).failure.kind, Failure::Kind::None);
    QVERIFY(QFileInfo::exists(bench.outcomeOf(next).info.filePath(0)));
    DownloadList list;
    QVERIFY2(list.open(bench.listPath()), qPrintable(list.lastFailure().detail));
    QVERIFY(list.load(next)->isFinished());
    QCOMPARE(list.load(running)->bytesDownloaded(false), bench.outcomeOf(running).info.bytesDownloaded(false));
    QCOMPARE(SqlFile(bench.listPath()).value(u"PRAGMA integrity_check"_s).toString(), u"ok"_s);
}

/// On another machine, say, where nobody knows that this process lives.
void TestListTrouble::whatSomebodyElseHasClaimedEndsWithWhoHasIt()
{
    QueueBench bench;
    const qint64 id = bench.bring(QueueBench::Place::Running);
    const SqlFile other(bench.listPath());
    QVERIFY(other.run(u"UPDATE downloads SET fence = fence + 1, owner_pid = 1, title = 'theirs'"_s));
    bench.session->stop(id);
    QVERIFY(bench.run());
    QCOMPARE(bench.outcomeOf(id).failure.kind, Failure::Kind::OwnedByOther);
    QCOMPARE(bench.outcomeOf(id).failure.number, 1);
    QCOMPARE(bench.endsOf(id), 1);
    QCOMPARE(other.value(u"SELECT title FROM downloads"_s).toString(), u"theirs"_s);
    QCOMPARE(other.value(u"SELECT owner_pid FROM downloads"_s).toInt(), 1);
}

void TestListTrouble::whatSomebodyElseHasRemovedIsNotSaidToBeSaved()
{
    QueueBench bench;
    const qint64 id = bench.bring(QueueBench::Place::Running);
    QVERIFY(SqlFile(bench.listPath()).run(u"DELETE FROM downloads"_s));
    bench.session->stop(id);
    QVERIFY(bench.run());
    QCOMPARE(bench.outcomeOf(id).failure.kind, Failure::Kind::OwnedByOther);
    QCOMPARE(bench.outcomeOf(id).failure.number, 0);
}

void TestListTrouble::whatCannotBeReadIsNotTakenForChanged_data()
{
    QTest::addColumn<QString>("table");
    QTest::newRow("its record") << u"mirrors"_s;
    QTest::newRow("its options") << u"options"_s;
}

void TestListTrouble::whatCannotBeReadIsNotTakenForChanged()
{
    QFETCH(QString, table);
    QueueBench bench;
    DownloadOptions restarting;
    restarting.onChanged = int(Trouble::Policy::Restart);
    const qint64 id = bench.add(u"done"_s, restarting);
    // As where nothing was given.
    OptionChanges failing;
    failing.values.give(*OptionTable::ofHost().find(u"on-changed"_s), {u"fail"_s, {}});
    Failure failure;
    QVERIFY2(bench.session->renew(id + 1, failing, &failure), "there is none, and nothing to be changed");
    QVERIFY(SqlFile(bench.listPath()).run(u"ALTER TABLE %1 RENAME TO elsewhere"_s.arg(table)));
    QVERIFY(!bench.session->renew(id, failing, &failure));
    QCOMPARE(failure.subject.path, bench.listPath());
}

void TestListTrouble::whatAProcessHasThatMayHaveDiedIsWaitedForOnce_data()
{
    QTest::addColumn<QString>("meanwhile");
    QTest::addColumn<Failure::Kind>("outcome");
    QTest::newRow("it had died") << u"UPDATE owners SET until = 1 WHERE pid = 7"_s << Failure::Kind::None;
    QTest::newRow("it lives, and has said so")
        << u"UPDATE owners SET until = unixepoch() + 60 WHERE pid = 7"_s << Failure::Kind::OwnedByOther;
}

/// With a container the numbers of its processes go, too.
void TestListTrouble::whatAProcessHasThatMayHaveDiedIsWaitedForOnce()
{
    QFETCH(QString, meanwhile);
    QFETCH(Failure::Kind, outcome);
    QueueBench bench;
    const qint64 id = bench.add(u"done"_s);
    const SqlFile other(bench.listPath());
    QVERIFY(giveToUnseen(other, id));
    QVERIFY(bench.queue->append(id));
    QTRY_COMPARE(bench.queue->state(id), std::optional(DownloadState::Resting));
    QCOMPARE(bench.retries.size(), 1);
    QCOMPARE(bench.retries.first().failure.kind, Failure::Kind::OwnedByOther);
    QVERIFY(bench.retries.first().inMs > 1000 && bench.retries.first().inMs <= 44000);
    QVERIFY(bench.queue->status(id).retryInMs > 1000);
    QVERIFY(other.run(meanwhile));
    endRest(bench);
    QTRY_COMPARE(bench.endsOf(id), 1);
    QCOMPARE(bench.outcomeOf(id).failure.kind, outcome);
    QCOMPARE(bench.retries.size(), 1);
}

/// And takes none from them once that has ended.
void TestListTrouble::whatWaitsForAProcessLeavesItsPlaceToOthers()
{
    QueueBench bench(QueueBench::oneAtATime());
    const qint64 theirs = bench.add(u"done"_s);
    const SqlFile other(bench.listPath());
    QVERIFY(giveToUnseen(other, theirs));
    QVERIFY(bench.queue->append(theirs));
    const qint64 ours = bench.append(u"run"_s);
    QTRY_COMPARE(bench.queue->state(ours), std::optional(DownloadState::Running));
    QCOMPARE(bench.queue->state(theirs), std::optional(DownloadState::Resting));
    QVERIFY(other.run(u"UPDATE owners SET until = 1 WHERE pid = 7"_s));
    endRest(bench);
    QueueBench::settle();
    QCOMPARE(bench.queue->state(theirs), std::optional(DownloadState::Resting));
    bench.session->stop(ours);
    QTRY_COMPARE(bench.endsOf(theirs), 1);
    QCOMPARE(bench.outcomeOf(theirs).failure.kind, Failure::Kind::None);
}

QTEST_GUILESS_MAIN(TestListTrouble)
#include "tst_listtrouble.moc"
