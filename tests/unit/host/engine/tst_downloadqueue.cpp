// SPDX-License-Identifier: MIT
#include <host/storage/processidentity.h>
#include <inet/qt/download/framework/abstractdownload.h>
#include <tests/unit/host/engine/queuebench.h>
#include <tests/unit/host/engine/queuesteps.h>

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

using Info = AbstractDownloadPersistentInfo;
using Kind = Trouble::Kind;
using Policy = Trouble::Policy;

const QString kNoMore = u"fail/HttpError/416/300?"_s;
const QString kShorter = u"fail/HttpError/416/300"_s;

DownloadOptions onTrouble(Policy policy)
{
    DownloadOptions options;
    options.onChanged = int(policy);
    options.onUnresumable = int(policy);
    return options;
}

DownloadOptions withChecksum(const QByteArray &content)
{
    DownloadOptions options;
    options.checksumAlgorithm = u"sha-256"_s;
    options.checksumHex =
        QString::fromLatin1(QCryptographicHash::hash(content, QCryptographicHash::Sha256).toHex()).toUpper();
    return options;
}

}

/// What becomes of downloads that run in a queue: how many, in which order, what is fetched anew, and how they end.
class TestDownloadQueue : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void soManyRunAtOnceAndNoMore();
    void theyBeginInTheOrderInWhichTheyWereAppended();
    void lessThanOneAtOnceIsOne();
    void aDownloadAsksTheListThreeTimes();
    void whatIsTriedAgainIsNotReadAgain();
    void theEndOfAllIsToldOnce();
    void aSecondAppendWhileItWaitsOrRunsIsTheSameDownload();
    void anIdThatIsNotInTheListEnds();
    void aDownloadOfAnotherProcessEndsWithWhoHasIt();
    void aDownloadThatTheSessionRunsAlreadyEnds();
    void aRunThatBeginsNothingEnds();
    void whatDoesNotFitOnTheDiskDoesNotBegin();

    void bytesThatCannotGrowAreKept_data();
    void bytesThatCannotGrowAreKept();
    void restartFetchesAllAgain_data();
    void restartFetchesAllAgain();
    void anAnswerOfYesFetchesAllAgain();
    void anAnswerOfNoKeepsTheBytes();
    void anAnswerThatNobodyWaitsForChangesNothing();
    void aServerThatChangesEachTimeIsNotRestartedWithoutEnd();
    void aRestartThatFailsBeforeItHasBytesIsARestartAgain();

    void theRightChecksumIsDone();
    void aWrongChecksumIsAnErrorThatKeepsTheFile();
    void anUnreadableFileIsAnError();
    void aChecksumThatIsNoneIsNotPassedOver();
    void whatIsFinishedAlreadyIsComparedAgain();
    void theServersOwnDigestVerifiesTheFile();
    void anotherDigestOfTheServersIsAnErrorThatKeepsTheFile();
    void aChecksumIsComparedInPlaceOfTheServersDigest();
    void aFileThatIsThereIsAsGoodAsADownloadWithSkip();
    void withoutSkipItIsAnError();
    void anIncompleteFileInTheWayIsNoDownload();
};

void TestDownloadQueue::soManyRunAtOnceAndNoMore()
{
    QueueOptions options = QueueBench::quickly();
    options.mostAtOnce = 2;
    QueueBench bench(options);
    QList<qint64> ids;
    for (int i = 0; i < 5; ++i)
        ids.append(bench.append(u"run"_s));
    QTRY_COMPARE(bench.began.size(), 2);
    QueueBench::settle();
    QCOMPARE(bench.queue->activeIds(), ids.mid(0, 2));
    QCOMPARE(bench.queue->waitingCount(), 3);
    bench.session->stop(ids.at(0));
    QTRY_COMPARE(bench.queue->activeIds(), ids.mid(1, 2));
    for (int i = 1; i < 5; ++i) {
        QTRY_VERIFY(bench.running(ids.at(i)));
        bench.session->stop(ids.at(i));
    }
    QTRY_VERIFY(bench.queue->isIdle());
    QCOMPARE(bench.mostActive, 2);
    QCOMPARE(bench.outcomes.size(), 5);
}

void TestDownloadQueue::theyBeginInTheOrderInWhichTheyWereAppended()
{
    QueueOptions options = QueueBench::quickly();
    options.mostAtOnce = 3;
    QueueBench bench(options);
    QList<qint64> ids;
    for (int i = 0; i < 10; ++i)
        ids.append(bench.append(u"done"_s));
    QVERIFY(bench.run());
    QCOMPARE(bench.began, ids);
    QCOMPARE(bench.outcomes.size(), 10);
    for (const qint64 id : ids) {
        QCOMPARE(bench.outcomeOf(id).failure.kind, Failure::Kind::None);
        QCOMPARE(bench.outcomeOf(id).attempts, 1);
        QVERIFY(bench.session->record(id)->isFinished());
    }
}

void TestDownloadQueue::lessThanOneAtOnceIsOne()
{
    QueueOptions options = QueueBench::quickly();
    options.mostAtOnce = 0;
    QueueBench bench(options);
    bench.append(u"done"_s);
    bench.append(u"done"_s);
    QVERIFY(bench.run());
    QCOMPARE(bench.outcomes.size(), 2);
    QCOMPARE(bench.mostActive, 1);
}

void TestDownloadQueue::theEndOfAllIsToldOnce()
{
    QueueBench bench;
    bench.append(u"done"_s);
    bench.append(u"done"_s);
    QVERIFY(bench.run());
    QueueBench::settle();
    QCOMPARE(bench.drained, 1);
    bench.append(u"done"_s);
    QVERIFY(bench.run());
    QCOMPARE(bench.drained, 2);
}

void TestDownloadQueue::aSecondAppendWhileItWaitsOrRunsIsTheSameDownload()
{
    QueueOptions options = QueueBench::quickly();
    options.mostAtOnce = 1;
    QueueBench bench(options);
    const qint64 first = bench.append(u"run"_s);
    const qint64 second = bench.append(u"done"_s);
    bench.queue->append(second);
    QTRY_VERIFY(bench.running(first));
    bench.queue->append(first, DownloadQueue::Job::Restart);
    QCOMPARE(bench.queue->waitingCount(), 1);
    bench.session->stop(first);
    QVERIFY(bench.run());
    QueueBench::settle();
    QCOMPARE(bench.endsOf(first), 1);
    QCOMPARE(bench.endsOf(second), 1);
    QCOMPARE(bench.began, (QList<qint64>{first, second}));
}

void TestDownloadQueue::anIdThatIsNotInTheListEnds()
{
    QueueBench bench;
    bench.queue->append(77);
    QVERIFY(bench.run());
    QCOMPARE(bench.endsOf(77), 1);
    QCOMPARE(bench.outcomeOf(77).failure.kind, Failure::Kind::NoSuchDownload);
    QCOMPARE(bench.outcomeOf(77).failure.subject.id, 77);
}

/// Process 1 is always there.
void TestDownloadQueue::aDownloadOfAnotherProcessEndsWithWhoHasIt()
{
    QueueBench bench;
    const qint64 id = bench.add(u"done"_s);
    QProcess shell;
    shell.start(u"sqlite3"_s,
                {bench.listPath(),
                 u"UPDATE downloads SET owner_pid = 1, owner_start_time = %1, owner_boot_id = '%2'"_s
                     .arg(ProcessIdentity::ofProcess(1).startTime)
                     .arg(ProcessIdentity::ofProcess(1).bootId)});
    QVERIFY(shell.waitForFinished());
    QCOMPARE(shell.exitCode(), 0);
    bench.queue->append(id);
    QVERIFY(bench.run());
    QCOMPARE(bench.endsOf(id), 1);
    QCOMPARE(bench.outcomeOf(id).failure.kind, Failure::Kind::OwnedByOther);
    QCOMPARE(bench.outcomeOf(id).failure.number, 1);
    QVERIFY(!bench.session->record(id)->isFinished());
}

void TestDownloadQueue::aDownloadThatTheSessionRunsAlreadyEnds()
{
    QueueBench bench;
    const qint64 id = bench.add(u"run"_s);
    QVERIFY(bench.session->start(id, &bench.error));
    bench.queue->append(id);
    QVERIFY(bench.run());
    QCOMPARE(bench.endsOf(id), 1);
    QCOMPARE(bench.outcomeOf(id).failure.kind, Failure::Kind::CannotBegin);
    QVERIFY2(bench.running(id), "it is none of the queue's");
}

void TestDownloadQueue::aRunThatBeginsNothingEnds()
{
    QueueBench bench;
    const qint64 id = bench.append(u"fail/GenericError/0"_s);
    QVERIFY(bench.run());
    QCOMPARE(bench.outcomeOf(id).failure.kind, Failure::Kind::Unknown);
}

void TestDownloadQueue::whatDoesNotFitOnTheDiskDoesNotBegin()
{
    QueueBench bench;
    const qint64 id = bench.add(u"done"_s);
    Info record = bench.session->record(id).value();
    AbstractDownloadFileInfo file;
    file.name = u"huge.bin"_s;
    file.size = qint64(1) << 60;
    record.files = {file};
    QVERIFY(bench.session->list().update(record));
    bench.queue->append(id);
    QVERIFY(bench.run());
    QCOMPARE(bench.outcomeOf(id).failure.kind, Failure::Kind::NoRoom);
    QCOMPARE(bench.outcomeOf(id).failure.subject.title, u"huge.bin"_s);
    QCOMPARE(bench.outcomeOf(id).failure.room.needed, file.size);
    QVERIFY(bench.outcomeOf(id).failure.room.available > 0);
    QCOMPARE(bench.outcomeOf(id).attempts, 0);
}

/// Each that waits for its answer has two threads change places twice: one puts the download into the list, one begins
/// it, one tells the list of its file before that is made.
void TestDownloadQueue::aDownloadAsksTheListThreeTimes()
{
    QueueBench bench;
    const auto &list = dynamic_cast<StoreThread &>(bench.session->list());
    const qint64 before = list.calls();
    const qint64 id = bench.append(u"done"_s);
    QCOMPARE(list.calls() - before, 1);
    QVERIFY(bench.run());
    QCOMPARE(bench.outcomeOf(id).failure.kind, Failure::Kind::None);
    QCOMPARE(list.calls() - before, 3);
}

void TestDownloadQueue::whatIsTriedAgainIsNotReadAgain()
{
    QueueBench bench;
    const auto &list = dynamic_cast<StoreThread &>(bench.session->list());
    const qint64 id = bench.append(u"fail/HttpError/503;fail/HttpError/503;done"_s);
    const qint64 before = list.calls();
    QVERIFY(bench.run());
    QCOMPARE(bench.outcomeOf(id).attempts, 3);
    QCOMPARE(list.calls() - before, 2);
    QCOMPARE(bench.outcomeOf(id).line->finished, true);
}

void TestDownloadQueue::bytesThatCannotGrowAreKept_data()
{
    QTest::addColumn<QString>("step");
    QTest::addColumn<Policy>("policy");
    QTest::addColumn<Failure::Kind>("kind");
    QTest::newRow("changed, fail") << kChanged << Policy::Fail << Failure::Kind::ResourceChanged;
    QTest::newRow("changed, nobody to ask") << kChanged << Policy::Ask << Failure::Kind::ResourceChanged;
    QTest::newRow("unresumable, fail") << kUnresumable << Policy::Fail << Failure::Kind::CannotResume;
    QTest::newRow("unresumable, nobody to ask") << kUnresumable << Policy::Ask << Failure::Kind::CannotResume;
    QTest::newRow("shorter by now, fail") << kShorter << Policy::Fail << Failure::Kind::ResourceChanged;
    QTest::newRow("no more of it, fail") << kNoMore << Policy::Fail << Failure::Kind::CannotResume;
    QTest::newRow("no more of it, nobody to ask") << kNoMore << Policy::Ask << Failure::Kind::CannotResume;
}

void TestDownloadQueue::bytesThatCannotGrowAreKept()
{
    QFETCH(QString, step);
    QFETCH(Policy, policy);
    QFETCH(Failure::Kind, kind);
    QueueBench bench;
    const qint64 id = bench.append(step + u";done"_s, onTrouble(policy));
    QVERIFY(bench.run());
    QCOMPARE(bench.endsOf(id), 1);
    QCOMPARE(bench.outcomeOf(id).failure.kind, kind);
    QCOMPARE(bench.outcomeOf(id).attempts, 1);
    QCOMPARE(bench.outcomeOf(id).failure.remedies, {Failure::Remedy::Restart});
    QCOMPARE(bench.outcomeOf(id).failure.subject.id, id);
    QVERIFY(bench.questions.isEmpty());
    QCOMPARE(bench.session->record(id)->bytesDownloaded(false), 300);
    QCOMPARE(QFile(bench.path(u"%1.bin.part"_s.arg(id))).size(), 300);
}

void TestDownloadQueue::restartFetchesAllAgain_data()
{
    QTest::addColumn<QString>("step");
    QTest::newRow("changed") << kChanged;
    QTest::newRow("unresumable") << kUnresumable;
    QTest::newRow("no more of it") << kNoMore;
    QTest::newRow("shorter by now") << kShorter;
}

void TestDownloadQueue::restartFetchesAllAgain()
{
    QFETCH(QString, step);
    QueueBench bench(tries(1));
    const qint64 id = bench.append(step + u";done"_s, onTrouble(Policy::Restart));
    QVERIFY(bench.run());
    QCOMPARE(bench.outcomeOf(id).failure.kind, Failure::Kind::None);
    QCOMPARE(bench.outcomeOf(id).attempts, 2);
    QVERIFY2(!QFile::exists(bench.path(u"%1.bin.part"_s.arg(id))), "what was there is discarded");
    QCOMPARE(QFile(bench.path(u"%1.bin"_s.arg(id))).size(), kFileSize);
    QCOMPARE(bench.retries.size(), 1);
    QCOMPARE(bench.retries.first().next, Warning::Next::FromTheBeginning);
    QCOMPARE(bench.retries.first().attempt, 2);
}

void TestDownloadQueue::anAnswerOfYesFetchesAllAgain()
{
    QueueOptions options = QueueBench::quickly();
    options.canAsk = true;
    QueueBench bench(options);
    const qint64 id = bench.append(kUnresumable + u";done"_s, onTrouble(Policy::Ask));
    QTRY_COMPARE(bench.questions.size(), 1);
    QCOMPARE(bench.questions.first().id, id);
    QCOMPARE(bench.questions.first().kind, Kind::Unresumable);
    QueueBench::settle();
    QCOMPARE(bench.outcomes.size(), 0);
    QCOMPARE(bench.queue->activeIds(), QList<qint64>{id});
    QCOMPARE(bench.queue->status(id).done, 300);
    bench.queue->decide(id, true);
    QVERIFY(bench.run());
    QCOMPARE(bench.outcomeOf(id).failure.kind, Failure::Kind::None);
    QCOMPARE(bench.outcomeOf(id).attempts, 2);
}

void TestDownloadQueue::anAnswerOfNoKeepsTheBytes()
{
    QueueOptions options = QueueBench::quickly();
    options.canAsk = true;
    QueueBench bench(options);
    const qint64 id = bench.append(kChanged + u";done"_s, onTrouble(Policy::Ask));
    QTRY_COMPARE(bench.questions.size(), 1);
    QCOMPARE(bench.questions.first().kind, Kind::Changed);
    bench.queue->decide(id, false);
    QVERIFY(bench.run());
    QCOMPARE(bench.endsOf(id), 1);
    QCOMPARE(bench.outcomeOf(id).failure.kind, Failure::Kind::ResourceChanged);
    QCOMPARE(bench.session->record(id)->bytesDownloaded(false), 300);
    bench.queue->decide(id, true);
    QueueBench::settle();
    QVERIFY(bench.session->isIdle());
}

void TestDownloadQueue::anAnswerThatNobodyWaitsForChangesNothing()
{
    QueueBench bench;
    const qint64 id = bench.append(u"run"_s);
    QTRY_VERIFY(bench.running(id));
    bench.queue->decide(id, true);
    bench.queue->decide(id, false);
    bench.queue->decide(id + 1, true);
    QueueBench::settle();
    QVERIFY(bench.running(id));
    QVERIFY(bench.outcomes.isEmpty());
}

void TestDownloadQueue::aServerThatChangesEachTimeIsNotRestartedWithoutEnd()
{
    QueueBench bench(tries(3));
    const qint64 id = bench.append(kChanged, onTrouble(Policy::Restart));
    QVERIFY(bench.run());
    QCOMPARE(bench.outcomeOf(id).attempts, 4);
    QCOMPARE(bench.outcomeOf(id).failure.kind, Failure::Kind::ResourceChanged);
}

void TestDownloadQueue::aRestartThatFailsBeforeItHasBytesIsARestartAgain()
{
    QueueBench bench;
    const qint64 id = bench.add(u"done;%1;done"_s.arg(kBusy));
    bench.queue->append(id);
    QVERIFY(bench.run());
    bench.outcomes.clear();
    bench.queue->append(id, DownloadQueue::Job::Restart);
    QVERIFY(bench.run());
    QCOMPARE(bench.outcomeOf(id).failure.kind, Failure::Kind::None);
    QCOMPARE(bench.outcomeOf(id).attempts, 2);
    QVERIFY(bench.session->record(id)->isFinished());
}

void TestDownloadQueue::theRightChecksumIsDone()
{
    QueueBench bench;
    const qint64 id = bench.append(u"done"_s, withChecksum(QByteArray(kFileSize, 'x')));
    QVERIFY(bench.run());
    QCOMPARE(bench.outcomeOf(id).failure.kind, Failure::Kind::None);
    QCOMPARE(bench.endsOf(id), 1);
    QCOMPARE(bench.session->options(id).checksumResult, ChecksumResult::Equal);
    QVERIFY(bench.session->list().page(ListFilter::Unfinished, 1).isEmpty());
}

void TestDownloadQueue::aWrongChecksumIsAnErrorThatKeepsTheFile()
{
    QueueBench bench;
    const qint64 id = bench.append(u"done"_s, withChecksum("another file"));
    QVERIFY(bench.run());
    QCOMPARE(bench.outcomeOf(id).failure.kind, Failure::Kind::ChecksumDiffers);
    QCOMPARE(bench.outcomeOf(id).failure.remedies, {Failure::Remedy::Restart});
    QVERIFY(QFile::exists(bench.path(u"%1.bin"_s.arg(id))));
    QVERIFY2(bench.retries.isEmpty(), "another attempt would bring the same");
    QCOMPARE(bench.session->options(id).checksumResult, ChecksumResult::Different);
    bench.queue->append(id, DownloadQueue::Job::Restart);
    QTRY_COMPARE(bench.session->options(id).checksumResult, ChecksumResult::NotCompared);
    QVERIFY(bench.run());
}

void TestDownloadQueue::anUnreadableFileIsAnError()
{
    QueueBench bench;
    const qint64 id = bench.append(u"run"_s, withChecksum("x"));
    QTRY_VERIFY(bench.running(id));
    // A folder in place of the file; nobody reads that.
    QVERIFY(QDir().mkdir(bench.path(u"folder"_s)));
    Info record = bench.running(id)->info();
    AbstractDownloadFileInfo file;
    file.name = u"folder"_s;
    file.size = 1;
    file.sections = {{0, 1, 1}};
    file.fileFlags = AbstractDownloadFileInfo::CreatedOnDisk | AbstractDownloadFileInfo::FinalOnDisk;
    record.files = {file};
    record.setFinished(true, true);
    record.lastError = {};
    Q_EMIT bench.session->finished(id, record, {}, {});
    QTRY_COMPARE(bench.outcomes.size(), 1);
    QCOMPARE(bench.outcomeOf(id).failure.kind, Failure::Kind::CannotReadFile);
    QVERIFY(!bench.outcomeOf(id).failure.plain().isEmpty());
}

void TestDownloadQueue::aChecksumThatIsNoneIsNotPassedOver()
{
    QueueBench bench;
    DownloadOptions options;
    options.checksumAlgorithm = u"sha-256"_s;
    options.checksumHex = u"abc"_s;
    const qint64 id = bench.append(u"done"_s, options);
    QVERIFY(bench.run());
    QCOMPARE(bench.outcomeOf(id).failure.kind, Failure::Kind::ChecksumUnusable);
    QVERIFY2(bench.outcomeOf(id).failure.plain().contains(u"checksum-of-other-length("_s),
             qPrintable(bench.outcomeOf(id).failure.plain()));
}

void TestDownloadQueue::whatIsFinishedAlreadyIsComparedAgain()
{
    QueueBench bench;
    const qint64 id = bench.append(u"done"_s, withChecksum(QByteArray(kFileSize, 'x')));
    QVERIFY(bench.run());
    QFile file(bench.path(u"%1.bin"_s.arg(id)));
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(QByteArray(kFileSize, 'y')) == kFileSize);
    file.close();
    bench.outcomes.clear();
    bench.queue->append(id);
    QVERIFY(bench.run());
    QCOMPARE(bench.outcomeOf(id).failure.kind, Failure::Kind::ChecksumDiffers);
}

void TestDownloadQueue::theServersOwnDigestVerifiesTheFile()
{
    QueueBench bench;
    const qint64 id = appendWithDigest(bench, QByteArray(kFileSize, 'x'));
    QVERIFY(bench.run());
    QCOMPARE(bench.outcomeOf(id).failure.kind, Failure::Kind::None);
    QCOMPARE(bench.outcomeOf(id).assurance.key(), u"verified"_s);
    QCOMPARE(bench.session->list().memory(id).evidence.digest, ChecksumResult::Equal);
}

void TestDownloadQueue::anotherDigestOfTheServersIsAnErrorThatKeepsTheFile()
{
    QueueBench bench;
    const qint64 id = appendWithDigest(bench, "another file");
    QVERIFY(bench.run());
    const DownloadOutcome outcome = bench.outcomeOf(id);
    QCOMPARE(outcome.failure.kind, Failure::Kind::DigestDiffers);
    const QByteArray expected = QCryptographicHash::hash("another file", QCryptographicHash::Sha256).toHex();
    QVERIFY2(outcome.failure.plain().contains(u"digest-is("_s), qPrintable(outcome.failure.plain()));
    QCOMPARE(outcome.failure.remedies, {Failure::Remedy::Restart});
    QCOMPARE(outcome.assurance.key(), QString());
    QVERIFY(QFile::exists(bench.path(u"%1.bin"_s.arg(id))));
    const QList<ListEntry> entries = bench.session->list().page(ListFilter::All, 1);
    QCOMPARE(entries.size(), 1);
    QVERIFY(entries.first().hasChecksum);
    QCOMPARE(entries.first().checksumResult, ChecksumResult::Different);
}

void TestDownloadQueue::aChecksumIsComparedInPlaceOfTheServersDigest()
{
    QueueBench bench;
    const qint64 id = appendWithDigest(bench, "another file", withChecksum(QByteArray(kFileSize, 'x')));
    QVERIFY(bench.run());
    QCOMPARE(bench.outcomeOf(id).failure.kind, Failure::Kind::None);
    QCOMPARE(bench.outcomeOf(id).assurance.key(), u"verified"_s);
    QCOMPARE(bench.session->list().memory(id).evidence.digest, ChecksumResult::NotCompared);
}

void TestDownloadQueue::aFileThatIsThereIsAsGoodAsADownloadWithSkip()
{
    QueueBench bench;
    QFile target(bench.path(u"taken.bin"_s));
    QVERIFY(target.open(QIODevice::WriteOnly));
    DownloadOptions options;
    options.skipExisting = true;
    const qint64 id = bench.append(u"taken"_s, options);
    QVERIFY(bench.run());
    QCOMPARE(bench.outcomeOf(id).failure.kind, Failure::Kind::Skipped);
    QVERIFY(!bench.outcomeOf(id).info.lastError);
    QVERIFY(bench.retries.isEmpty());
}

void TestDownloadQueue::withoutSkipItIsAnError()
{
    QueueBench bench;
    QFile target(bench.path(u"taken.bin"_s));
    QVERIFY(target.open(QIODevice::WriteOnly));
    const qint64 id = bench.append(u"taken"_s);
    QVERIFY(bench.run());
    QCOMPARE(bench.outcomeOf(id).failure.kind, Failure::Kind::NameTaken);
}

void TestDownloadQueue::anIncompleteFileInTheWayIsNoDownload()
{
    QueueBench bench;
    QFile part(bench.path(u"taken.bin.part"_s));
    QVERIFY(part.open(QIODevice::WriteOnly));
    DownloadOptions options;
    options.skipExisting = true;
    const qint64 id = bench.append(u"taken"_s, options);
    QVERIFY(bench.run());
    QCOMPARE(bench.outcomeOf(id).failure.kind, Failure::Kind::NameTaken);
}

QTEST_GUILESS_MAIN(TestDownloadQueue)
#include "tst_downloadqueue.moc"
