// SPDX-License-Identifier: MIT
#include <host/engine/downloadrun.h>
#include <host/network/resourceguard.h>
#include <host/storage/downloadlist.h>
#include <tests/unit/host/engine/fakedownload.h>
#include <tests/unit/host/engine/fakemodule.h>

#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <cerrno>
#include <memory>

using namespace Qt::StringLiterals;

namespace
{

using Info = AbstractDownloadPersistentInfo;
using File = AbstractDownloadFileInfo;

/// A disk that takes as long as the test likes.
class FakeSyncer : public FileSyncer
{
public:
    struct Call {
        QString path;
        bool withName = false;
    };

    void sync(const QString &path, bool withName) override { calls.append({path, withName}); }

    void answer(int error = 0, qint64 milliseconds = 0)
    {
        Q_EMIT synced({error, milliseconds, error == ENOENT ? FileIdentity() : FileIdentity{u"7:1"_s}});
    }
    /// The disk has taken another file, which stands in its place.
    void answerOfAnother() { Q_EMIT synced({0, 0, FileIdentity{u"8:2"_s}}); }

    QList<Call> calls;
};

/// Makes the download one that has so many bytes in an incomplete file.
auto downloaded(qint64 bytes)
{
    return [bytes](Info &info) {
        File file;
        file.name = u"x.bin"_s;
        file.pathOnDisk = u"x.bin.part"_s;
        file.fileFlags = File::CreatedOnDisk;
        file.size = 1000;
        file.sections = {{0, 1000, bytes}};
        info.files = {file};
    };
}

}

class TestDownloadRun : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void aSignificantChangeIsSavedAtOnce();
    void otherChangesAreSavedTogetherALittleLater();
    void theEndIsSaved();
    void theEndIsToldOnceAndNeverFromInsideTheRun();
    void aCommandWithNothingToDoEndsToo();
    void progressWaitsForTheDisk();
    void whatWasWrittenMeanwhileWaitsForTheNextSync();
    void savesThatComeMeanwhileBecomeOne();
    void aFinishThatComesMeanwhileIsSavedWithItsBytes();
    void aFinishUnderAnotherNameWaitsForTheNextSync();
    void theNameIsSyncedWithTheFirstBytes();
    void whatClaimsNoNewBytesNeedsNoSync();
    void theEndWaitsForItsSync();
    void theFirstSavesOfProgressComeSooner();
    void afterASlowSyncTheNextOneRests();
    void aDownloadThatIsDroppedSavesNothing();
    void whatTheDiskRefusedIsNotCounted();
    void afterAFailedSyncNoOtherIsBelieved();
    void aFileThatIsBeingRenamedIsSavedUnderItsNewName();
    void aFileThatIsGoneAtTheEndIsSavedAsItIs();
    void beforeARestartTheListForgetsTheBytes();
    void beforeARestartTheListForgetsThatItWasFinished();
    void whatTheListTakesBackIsWrittenThroughAndProgressIsNot();
    void thatItWasFinishedEarlyIsKept();
    void theFileIsKnownAgain();
    void anotherFileInItsPlaceIsNotCounted();
    void aFileKnownFromTheListIsNotTakenForAnother();
    void aLinkInItsPlaceIsNotSynced();
    void aRealFileIsSynced();
    void aListThatFailsIsReported();
    void whoLosesItsClaimIsStoppedAndSavesNothing();
    void itMayBeDestroyedByWhoeverHearsOfIt_data();
    void itMayBeDestroyedByWhoeverHearsOfIt();
    void withoutAListNothingIsSaved();
    void theStatusGathersWhatTheDownloadKnows();

private:
    FakeDownload *makeDownload(const QString &path);
    /// Running, with a disk of its own and the bytes as its first progress.
    void begin(qint64 bytes);
    qint64 bytesInList() { return inList().bytesDownloaded(false); }
    Info inList() { return m_list->load(m_id).value_or(Info()); }

    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<DownloadList> m_list;
    std::unique_ptr<DownloadRun> m_download;
    FakeDownload *m_fake = nullptr;
    FakeSyncer *m_disk = nullptr;
    qint64 m_id = 0;
};

void TestDownloadRun::init()
{
    m_download.reset();
    m_list.reset();
    m_dir = std::make_unique<QTemporaryDir>();
    m_list = std::make_unique<DownloadList>();
    QVERIFY2(m_list->open(m_dir->filePath(u"list.sqlite"_s)), qPrintable(m_list->lastFailure().plain()));
}

FakeDownload *TestDownloadRun::makeDownload(const QString &path)
{
    Info info;
    info.url = QUrl(u"http://a"_s + path);
    info.folder = m_dir->path();
    m_id = m_list->insert(info);
    auto *const download = new FakeDownload(m_id, nullptr);
    download->setInfo(info);
    return download;
}

void TestDownloadRun::begin(qint64 bytes)
{
    m_fake = makeDownload(u"/x"_s);
    m_disk = new FakeSyncer;
    m_download = std::make_unique<DownloadRun>(m_fake, m_list.get(), nullptr, m_disk);
    m_download->run(AbstractDownloadCommand::Start);
    if (bytes > 0)
        m_fake->change(true, downloaded(bytes));
}

void TestDownloadRun::aSignificantChangeIsSavedAtOnce()
{
    FakeDownload *const fake = makeDownload(u"/x"_s);
    DownloadRun download(fake, m_list.get(), nullptr);
    download.run(AbstractDownloadCommand::Start);
    fake->change(true, [](Info &info) { info.title = u"new"_s; });
    QCOMPARE(inList().title, u"new"_s);
}

void TestDownloadRun::otherChangesAreSavedTogetherALittleLater()
{
    FakeDownload *const fake = makeDownload(u"/x"_s);
    DownloadRun download(fake, m_list.get(), nullptr);
    download.run(AbstractDownloadCommand::Start);
    QTimer *const timer = download.findChild<QTimer *>();
    QVERIFY(timer && timer->isSingleShot());
    QCOMPARE(timer->interval(), DownloadRun::kFirstSaveMs);

    fake->change(false, [](Info &info) { info.title = u"one"_s; });
    QVERIFY(timer->isActive());
    fake->change(false, [](Info &info) { info.title = u"two"_s; });
    QVERIFY(inList().title.isEmpty());
    QMetaObject::invokeMethod(timer, "timeout");
    QCOMPARE(inList().title, u"two"_s);
    QVERIFY(!timer->isActive());
}

void TestDownloadRun::theEndIsSaved()
{
    FakeDownload *const fake = makeDownload(u"/x"_s);
    DownloadRun download(fake, m_list.get(), nullptr);
    download.run(AbstractDownloadCommand::Start);
    fake->change(false, [](Info &info) { info.title = u"last"_s; });
    download.stop();
    QCOMPARE(inList().title, u"last"_s);
    QCOMPARE(inList().lastError.code, int(GenericErrorCode::OperationAborted));
    QVERIFY(!download.findChild<QTimer *>()->isActive());
}

void TestDownloadRun::theEndIsToldOnceAndNeverFromInsideTheRun()
{
    DownloadRun download(makeDownload(FakePaths::kDone), m_list.get(), nullptr);
    QSignalSpy finished(&download, &DownloadRun::finished);
    download.run(AbstractDownloadCommand::Start);
    QCOMPARE(finished.size(), 0);
    QTRY_COMPARE(finished.size(), 1);
    QVERIFY(inList().isFinished());
    QCoreApplication::processEvents();
    QCOMPARE(finished.size(), 1);
}

void TestDownloadRun::aCommandWithNothingToDoEndsToo()
{
    DownloadRun download(makeDownload(FakePaths::kNothing), m_list.get(), nullptr);
    QSignalSpy finished(&download, &DownloadRun::finished);
    download.run(AbstractDownloadCommand::Start);
    QTRY_COMPARE(finished.size(), 1);
}

void TestDownloadRun::progressWaitsForTheDisk()
{
    begin(100);
    QCOMPARE(m_disk->calls.size(), 1);
    QCOMPARE(m_disk->calls.first().path, m_dir->filePath(u"x.bin.part"_s));
    QCOMPARE(bytesInList(), 0);
    m_disk->answer();
    QCOMPARE(bytesInList(), 100);
}

void TestDownloadRun::whatWasWrittenMeanwhileWaitsForTheNextSync()
{
    begin(100);
    m_fake->change(false, downloaded(150));
    m_disk->answer();
    QCOMPARE(bytesInList(), 100);
    QTimer *const timer = m_download->findChild<QTimer *>();
    QVERIFY(timer->isActive());
    QMetaObject::invokeMethod(timer, "timeout");
    QCOMPARE(m_disk->calls.size(), 2);
    QCOMPARE(bytesInList(), 100);
    m_disk->answer();
    QCOMPARE(bytesInList(), 150);
}

void TestDownloadRun::savesThatComeMeanwhileBecomeOne()
{
    begin(100);
    for (qint64 bytes : {110, 120, 130})
        m_fake->change(true, downloaded(bytes));
    QCOMPARE(m_disk->calls.size(), 1);
    m_disk->answer();
    QCOMPARE(bytesInList(), 100);
    QCOMPARE(m_disk->calls.size(), 2);
    m_disk->answer();
    QCOMPARE(bytesInList(), 130);
    QCOMPARE(m_disk->calls.size(), 2);
}

void TestDownloadRun::aFinishThatComesMeanwhileIsSavedWithItsBytes()
{
    begin(1000);
    m_fake->change(true, [](Info &info) { info.setFinished(true, true); });
    QVERIFY2(!inList().isFinished(), "not before the disk has the bytes");
    m_disk->answer();
    QVERIFY(inList().isFinished());
    QCOMPARE(bytesInList(), 1000);
    m_fake->end({});
    QVERIFY(!inList().finishedTime.isNull());
    QCOMPARE(m_disk->calls.size(), 1);
}

void TestDownloadRun::aFinishUnderAnotherNameWaitsForTheNextSync()
{
    begin(1000);
    m_fake->change(true, [](Info &info) {
        info.files.first().pathOnDisk = u"x.bin"_s;
        info.setFinished(true, true);
    });
    m_disk->answer();
    QVERIFY(!inList().isFinished());
    QCOMPARE(m_disk->calls.size(), 2);
    QVERIFY(m_disk->calls.last().withName);
    m_disk->answer();
    QVERIFY(inList().isFinished());
}

void TestDownloadRun::theNameIsSyncedWithTheFirstBytes()
{
    begin(100);
    QVERIFY(m_disk->calls.last().withName);
    m_disk->answer();
    m_fake->change(true, downloaded(200));
    QVERIFY(!m_disk->calls.last().withName);
    m_disk->answer();
    m_fake->change(true, [](Info &info) { info.files.first().pathOnDisk.clear(); });
    QVERIFY2(m_disk->calls.last().withName, "another name is another entry of the folder");
}

void TestDownloadRun::whatClaimsNoNewBytesNeedsNoSync()
{
    begin(0);
    m_fake->change(true, downloaded(0));
    QVERIFY(inList().files.first().isOnDisk());
    m_fake->change(true, downloaded(100));
    m_disk->answer();
    m_fake->change(true, [](Info &info) { info.title = u"new"_s; });
    QCOMPARE(inList().title, u"new"_s);
    QCOMPARE(m_disk->calls.size(), 1);
}

void TestDownloadRun::theEndWaitsForItsSync()
{
    begin(100);
    QSignalSpy finished(m_download.get(), &DownloadRun::finished);
    m_fake->change(false, downloaded(170));
    m_download->stop();
    QCoreApplication::processEvents();
    QVERIFY(finished.isEmpty());
    m_disk->answer();
    QVERIFY2(finished.isEmpty(), "that was a save of before");
    m_disk->answer();
    QCOMPARE(finished.size(), 1);
    QCOMPARE(bytesInList(), 170);
    QCoreApplication::processEvents();
    QCOMPARE(finished.size(), 1);
}

/// Who is killed in its first second, again and again, comes on all the same.
void TestDownloadRun::theFirstSavesOfProgressComeSooner()
{
    begin(0);
    QTimer *const timer = m_download->findChild<QTimer *>();
    for (const int wait : {DownloadRun::kFirstSaveMs, 2 * DownloadRun::kFirstSaveMs, DownloadRun::kSaveIntervalMs,
                           DownloadRun::kSaveIntervalMs}) {
        QCOMPARE(timer->interval(), wait);
        m_fake->change(false, downloaded(100 * (m_disk->calls.size() + 1)));
        QMetaObject::invokeMethod(timer, "timeout");
        m_disk->answer();
        QCOMPARE(bytesInList(), 100 * m_disk->calls.size());
    }
}

void TestDownloadRun::afterASlowSyncTheNextOneRests()
{
    begin(100);
    m_fake->change(false, downloaded(150));
    QTimer *const timer = m_download->findChild<QTimer *>();
    QVERIFY2(!timer->isActive(), "the rest begins behind the sync");
    m_disk->answer(0, 3000);
    QVERIFY(timer->isActive());
    QCOMPARE(timer->interval(), 3000 * DownloadRun::kRestFactor);
    QMetaObject::invokeMethod(timer, "timeout");
    m_disk->answer(0, 5);
    QCOMPARE(timer->interval(), DownloadRun::kSaveIntervalMs);
}

void TestDownloadRun::aDownloadThatIsDroppedSavesNothing()
{
    begin(100);
    const Info before = inList();
    m_download.reset();
    QCoreApplication::processEvents();
    QCOMPARE(inList(), before);
}

void TestDownloadRun::whatTheDiskRefusedIsNotCounted()
{
    begin(100);
    m_disk->answer();
    QSignalSpy failed(m_download.get(), &DownloadRun::saveFailed);
    QSignalSpy finished(m_download.get(), &DownloadRun::finished);
    m_fake->change(true, downloaded(200));
    m_disk->answer(EIO);
    QCOMPARE(bytesInList(), 100);
    QCOMPARE(failed.size(), 1);
    const auto failure = failed.first().first().value<Failure>();
    QCOMPARE(failure.kind, Failure::Kind::NotOnDisk);
    QVERIFY(failure.subject.path.endsWith(u"x.bin.part"_s));
    QCOMPARE(failure.number, EIO);
    m_fake->change(false, [](Info &info) { info.setFinished(true, true); });
    m_download->stop();
    QTRY_COMPARE(finished.size(), 1);
    QVERIFY(!inList().isFinished());
    QCOMPARE(inList().lastError.code, int(GenericErrorCode::OperationAborted));
    QCOMPARE(m_download->lease().record.bytesDownloaded(false), 100);
    QCOMPARE(failed.size(), 1);
}

void TestDownloadRun::afterAFailedSyncNoOtherIsBelieved()
{
    begin(100);
    m_disk->answer(EIO);
    m_fake->change(true, downloaded(200));
    QCOMPARE(m_disk->calls.size(), 1);
    QCOMPARE(bytesInList(), 0);
}

void TestDownloadRun::aFileThatIsBeingRenamedIsSavedUnderItsNewName()
{
    begin(1000);
    QSignalSpy failed(m_download.get(), &DownloadRun::saveFailed);
    m_disk->answer(ENOENT);
    QCOMPARE(bytesInList(), 0);
    m_fake->change(true, [](Info &info) {
        info.files.first().pathOnDisk.clear();
        info.files.first().fileFlags |= File::FinalOnDisk;
    });
    QCOMPARE(m_disk->calls.last().path, m_dir->filePath(u"x.bin"_s));
    m_disk->answer();
    QCOMPARE(bytesInList(), 1000);
    QVERIFY(failed.isEmpty());
}

void TestDownloadRun::aFileThatIsGoneAtTheEndIsSavedAsItIs()
{
    begin(100);
    QSignalSpy finished(m_download.get(), &DownloadRun::finished);
    m_download->stop();
    m_disk->answer(ENOENT);
    m_disk->answer(ENOENT);
    QCOMPARE(finished.size(), 1);
    QCOMPARE(bytesInList(), 100);
}

void TestDownloadRun::beforeARestartTheListForgetsTheBytes()
{
    m_fake = makeDownload(u"/x"_s);
    m_fake->change(true, downloaded(300));
    QVERIFY(m_list->update(m_fake->info()));
    QCOMPARE(bytesInList(), 300);
    DownloadRun download(m_fake, m_list.get(), nullptr, new FakeSyncer);
    download.run(AbstractDownloadCommand::Restart);
    QCOMPARE(bytesInList(), 0);
    QVERIFY2(inList().files.first().isOnDisk(), "the file is still the download's");
}

/// Else whoever is killed before the rest is there leaves a list that says so of a file that is gone.
void TestDownloadRun::beforeARestartTheListForgetsThatItWasFinished()
{
    m_fake = makeDownload(u"/x"_s);
    m_fake->change(true, [](Info &record) {
        downloaded(300)(record);
        record.files.first().fileFlags |= AbstractDownloadFileInfo::FinalOnDisk;
        record.setFinished(true, true);
    });
    QVERIFY(m_list->update(m_fake->info()));
    DownloadRun download(m_fake, m_list.get(), nullptr, new FakeSyncer);
    download.run(AbstractDownloadCommand::Restart);
    QVERIFY(!inList().isFinished());
    QCOMPARE(bytesInList(), 0);
    QVERIFY2(inList().files.first().isOnDisk(), "the file is still the download's");
}

/// Otherwise a loss of power brings back a list that counts bytes of a file that has been emptied.
void TestDownloadRun::whatTheListTakesBackIsWrittenThroughAndProgressIsNot()
{
    QStringList statements;
    m_list->setStatementObserver([&statements](const QString &statement) { statements.append(statement.left(30)); });
    const QString throughToTheDisk = u"PRAGMA synchronous = FULL"_s;
    begin(300);
    m_disk->answer();
    QCOMPARE(bytesInList(), 300);
    QVERIFY(!statements.contains(throughToTheDisk));
    m_fake->change(true, downloaded(200));
    QCOMPARE(bytesInList(), 200);
    QVERIFY(statements.contains(throughToTheDisk));
}

void TestDownloadRun::thatItWasFinishedEarlyIsKept()
{
    m_fake = makeDownload(u"/x"_s);
    m_fake->change(true, downloaded(400));
    m_disk = new FakeSyncer;
    m_download = std::make_unique<DownloadRun>(m_fake, m_list.get(), nullptr, m_disk);
    m_download->setGuard(std::make_shared<ResourceGuard>(ResourceGuard::Task::Download));
    m_download->run(AbstractDownloadCommand::Start);
    m_download->finishNow();
    m_fake->change(true, [](Info &) {});
    QCOMPARE(m_list->memory(m_id).evidence.reason(), Evidence::Doubt::FinishedEarly);
}

void TestDownloadRun::theFileIsKnownAgain()
{
    begin(100);
    QVERIFY(!m_list->fileIdentity(m_id).isKnown());
    m_disk->answer();
    QCOMPARE(m_list->fileIdentity(m_id).text, u"7:1"_s);
}

void TestDownloadRun::anotherFileInItsPlaceIsNotCounted()
{
    begin(100);
    m_disk->answer();
    QCOMPARE(bytesInList(), 100);
    m_fake->change(true, downloaded(200));
    m_disk->answerOfAnother();
    QCOMPARE(bytesInList(), 100);
    QCOMPARE(m_list->fileIdentity(m_id).text, u"7:1"_s);
}

void TestDownloadRun::aFileKnownFromTheListIsNotTakenForAnother()
{
    m_fake = makeDownload(u"/x"_s);
    m_disk = new FakeSyncer;
    DownloadRun download(m_fake, m_list.get(), nullptr, m_disk);
    Lease lease;
    lease.file.text = u"7:1"_s;
    download.run(AbstractDownloadCommand::Start, lease);
    m_fake->change(true, downloaded(100));
    m_disk->answerOfAnother();
    QCOMPARE(bytesInList(), 0);
    QCOMPARE(download.lease().file.text, u"7:1"_s);
}

void TestDownloadRun::aLinkInItsPlaceIsNotSynced()
{
    QFile file(m_dir->filePath(u"elsewhere"_s));
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(QByteArray(100, 'x')) == 100);
    file.close();
    QVERIFY(file.link(m_dir->filePath(u"x.bin.part"_s)));
    FileSyncer syncer;
    QSignalSpy synced(&syncer, &FileSyncer::synced);
    syncer.sync(m_dir->filePath(u"x.bin.part"_s), false);
    QVERIFY(synced.wait());
    const auto outcome = synced.first().first().value<FileSyncer::Outcome>();
    QCOMPARE(outcome.error, ENOENT);
    QVERIFY(!outcome.file.isKnown());
}

void TestDownloadRun::aRealFileIsSynced()
{
    m_fake = makeDownload(u"/x"_s);
    QFile file(m_dir->filePath(u"x.bin.part"_s));
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(QByteArray(100, 'x')) == 100);
    file.close();
    DownloadRun download(m_fake, m_list.get(), nullptr);
    download.run(AbstractDownloadCommand::Start);
    m_fake->change(true, downloaded(100));
    QTRY_COMPARE(bytesInList(), 100);
    QCOMPARE(m_list->fileIdentity(m_id), FileIdentity::of(file.fileName()));
}

void TestDownloadRun::aListThatFailsIsReported()
{
    FakeDownload *const fake = makeDownload(u"/x"_s);
    DownloadRun download(fake, m_list.get(), nullptr);
    QSignalSpy failed(&download, &DownloadRun::saveFailed);
    download.run(AbstractDownloadCommand::Start);
    QVERIFY(m_list->remove(m_id));
    fake->change(true, [](Info &) {});
    QCOMPARE(failed.size(), 1);
    QCOMPARE(failed.first().first().value<Failure>().kind, Failure::Kind::CannotChangeList);
    QCOMPARE(failed.first().first().value<Failure>().subject.id, m_id);
}

void TestDownloadRun::whoLosesItsClaimIsStoppedAndSavesNothing()
{
    m_fake = makeDownload(u"/x"_s);
    Lease lease;
    QCOMPARE(m_list->claim(m_id, lease), DownloadStore::Claim::Taken);
    DownloadRun download(m_fake, m_list.get(), nullptr);
    QSignalSpy lost(&download, &DownloadRun::cannotGoOn);
    QSignalSpy failed(&download, &DownloadRun::saveFailed);
    QSignalSpy finished(&download, &DownloadRun::finished);
    download.run(AbstractDownloadCommand::Start, lease);
    QVERIFY(m_list->release(m_id));
    QCOMPARE(m_list->claim(m_id), DownloadStore::Claim::Taken);
    m_fake->change(true, [](Info &info) { info.title = u"late"_s; });
    QTRY_COMPARE(finished.size(), 1);
    QCOMPARE(lost.size(), 1);
    QCOMPARE(lost.first().first().value<Failure>().kind, Failure::Kind::OwnedByOther);
    QVERIFY(failed.isEmpty());
    QVERIFY(!m_fake->isRunning());
    QVERIFY(inList().title.isEmpty());
    QVERIFY(!inList().lastError);
}

void TestDownloadRun::itMayBeDestroyedByWhoeverHearsOfIt_data()
{
    QTest::addColumn<bool>("isClaimLost");
    QTest::newRow("that it cannot go on") << true;
    QTest::newRow("that the disk has refused it") << false;
}

void TestDownloadRun::itMayBeDestroyedByWhoeverHearsOfIt()
{
    QFETCH(bool, isClaimLost);
    m_fake = makeDownload(u"/x"_s);
    m_disk = new FakeSyncer;
    m_download = std::make_unique<DownloadRun>(m_fake, m_list.get(), nullptr, m_disk);
    Lease lease;
    QCOMPARE(m_list->claim(m_id, lease), DownloadStore::Claim::Taken);
    m_download->run(AbstractDownloadCommand::Start, lease);
    m_fake->change(true, downloaded(100));
    int heard = 0;
    const auto destroy = [this, &heard] {
        ++heard;
        m_download.reset();
    };
    const QObject listener;
    connect(m_download.get(), &DownloadRun::cannotGoOn, &listener, destroy);
    connect(m_download.get(), &DownloadRun::saveFailed, &listener, destroy);
    connect(m_download.get(), &DownloadRun::finished, &listener, destroy);
    m_fake->change(true, downloaded(200));
    if (isClaimLost) {
        QVERIFY(m_list->release(m_id));
        QCOMPARE(m_list->claim(m_id), DownloadStore::Claim::Taken);
    }
    m_disk->answer(isClaimLost ? 0 : EIO);
    QVERIFY(!m_download);
    QCOMPARE(heard, 1);
}

void TestDownloadRun::withoutAListNothingIsSaved()
{
    FakeDownload *const fake = makeDownload(u"/x"_s);
    DownloadRun download(fake, nullptr, nullptr);
    QSignalSpy failed(&download, &DownloadRun::saveFailed);
    download.run(AbstractDownloadCommand::Start);
    fake->change(true, [](Info &info) { info.title = u"new"_s; });
    download.stop();
    QVERIFY(inList().title.isEmpty());
    QVERIFY(failed.isEmpty());
}

void TestDownloadRun::theStatusGathersWhatTheDownloadKnows()
{
    FakeDownload *const fake = makeDownload(u"/x"_s);
    DownloadRun download(fake, m_list.get(), nullptr);
    QCOMPARE(download.status().total, -1);
    QCOMPARE(download.status().allocated, -1);
    download.run(AbstractDownloadCommand::Start);
    fake->change(false, [](Info &info) {
        AbstractDownloadFileInfo file;
        file.size = 100;
        file.sections = {{0, 50, 10}, {50, 50, 20}};
        info.files = {file};
    });
    const DownloadStatus status = download.status();
    QCOMPARE(status.done, 30);
    QCOMPARE(status.total, 100);
    QCOMPARE(status.speed, 50);
    QCOMPARE(status.connections, 3);
    QCOMPARE(status.allocated, 7);
}

QTEST_GUILESS_MAIN(TestDownloadRun)
#include "tst_downloadrun.moc"
