// SPDX-License-Identifier: MIT
#include <host/engine/downloadrun.h>
#include <host/storage/memorystore.h>
#include <tests/unit/host/engine/fakedownload.h>

#include <QQueue>
#include <QSignalSpy>
#include <QTest>

#include <functional>
#include <memory>

using namespace Qt::StringLiterals;

namespace
{

using Info = AbstractDownloadPersistentInfo;

/// A list that takes as long as the test likes.
class LateStore : public MemoryStore
{
public:
    void save(const Record &record, const Holdings &holdings, QObject *, const Saved &saved) override
    {
        saves.enqueue([this, record, holdings, saved] { MemoryStore::save(record, holdings, nullptr, saved); });
    }
    using MemoryStore::update;
    /// Whoever asks otherwise gets what was saved before.
    bool update(const Record &record, const Holdings &holdings, Lasting lasting) override
    {
        updates.append(lasting);
        return !refusal && MemoryStore::update(record, holdings, lasting);
    }
    Failure lastFailure() const override { return refusal ? refusal : MemoryStore::lastFailure(); }
    void answer() { saves.dequeue()(); }

    QQueue<std::function<void()>> saves;
    QList<Lasting> updates;
    Failure refusal; ///< of all that asks otherwise; none = it takes it
};

Failure full()
{
    return Failure::make(Failure::Kind::CannotChangeList, {}, u"database or disk is full"_s);
}

/// A disk that has everything.
class QuickSyncer : public FileSyncer
{
public:
    void sync(const QString &, bool) override { Q_EMIT synced({0, 0, FileIdentity{u"7:1"_s}}); }
};

auto downloaded(qint64 bytes)
{
    return [bytes](Info &info) {
        AbstractDownloadFileInfo file;
        file.name = u"x.bin"_s;
        file.pathOnDisk = u"x.bin.part"_s;
        file.fileFlags = AbstractDownloadFileInfo::CreatedOnDisk;
        file.size = 1000;
        file.sections = {{0, 1000, bytes}};
        info.files = {file};
    };
}

auto titled(const QString &title)
{
    return [title](Info &info) { info.title = title; };
}

}

/// A run whose list does not answer at once.
class TestDownloadRunLate : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void savesThatComeMeanwhileBecomeOne();
    void theEndWaitsForTheLastSave();
    void whatIsTakenBackDoesNotWait();
    void whoCannotTakeBackIsStoppedAndToldOfIt();
    void aRestartDoesNotBeginWhereTheListKeepsTheBytes_data();
    void aRestartDoesNotBeginWhereTheListKeepsTheBytes();
    void aFileIsNotMadeBeforeTheListKnows();
    void aFileThatWasMadeIsKnownBeforeAnythingIsInIt_data();
    void aFileThatWasMadeIsKnownBeforeAnythingIsInIt();
    void anAnswerThatWasOvertakenIsNotWhatTheListSays();
    void aFailureIsTold();

private:
    QString titleInList() { return m_list->load(m_id)->title; }

    std::unique_ptr<LateStore> m_list;
    std::unique_ptr<DownloadRun> m_run;
    FakeDownload *m_fake = nullptr;
    qint64 m_id = 0;
};

void TestDownloadRunLate::init()
{
    m_run.reset();
    m_list = std::make_unique<LateStore>();
    Info info;
    info.url = QUrl(u"http://a/x"_s);
    info.folder = u"/nowhere"_s;
    m_id = m_list->insert(info);
    m_fake = new FakeDownload(m_id, nullptr);
    m_fake->setInfo(info);
    m_run = std::make_unique<DownloadRun>(m_fake, m_list.get(), nullptr, new QuickSyncer);
    m_run->run(AbstractDownloadCommand::Start);
    QVERIFY(m_list->saves.isEmpty());
}

void TestDownloadRunLate::savesThatComeMeanwhileBecomeOne()
{
    for (const QString &title : {u"a"_s, u"b"_s, u"c"_s})
        m_fake->change(true, titled(title));
    QCOMPARE(m_list->saves.size(), 1);
    m_list->answer();
    QCOMPARE(titleInList(), u"a"_s);
    QCOMPARE(m_run->lease().record.title, u"a"_s);
    QCOMPARE(m_list->saves.size(), 1);
    m_list->answer();
    QCOMPARE(titleInList(), u"c"_s);
    QVERIFY(m_list->saves.isEmpty());
}

void TestDownloadRunLate::theEndWaitsForTheLastSave()
{
    QSignalSpy finished(m_run.get(), &DownloadRun::finished);
    m_fake->change(true, titled(u"a"_s));
    m_fake->change(false, titled(u"last"_s));
    m_run->stop();
    QCoreApplication::processEvents();
    QCOMPARE(finished.size(), 0);
    m_list->answer();
    QCOMPARE(m_list->saves.size(), 1);
    QCOMPARE(finished.size(), 0);
    m_list->answer();
    QCOMPARE(finished.size(), 1);
    QCOMPARE(titleInList(), u"last"_s);
    QCoreApplication::processEvents();
    QCOMPARE(finished.size(), 1);
}

void TestDownloadRunLate::whatIsTakenBackDoesNotWait()
{
    m_fake->change(true, downloaded(300));
    m_list->answer();
    m_fake->change(true, downloaded(400));
    QCOMPARE(m_list->saves.size(), 1);
    m_list->updates.clear();
    m_fake->change(true, downloaded(350));
    QCOMPARE(m_list->updates, QList{DownloadStore::Lasting::Always});
    QCOMPARE(m_list->load(m_id)->bytesDownloaded(false), 350);
}

void TestDownloadRunLate::whoCannotTakeBackIsStoppedAndToldOfIt()
{
    m_fake->change(true, downloaded(300));
    m_list->answer();
    QSignalSpy givenUp(m_run.get(), &DownloadRun::cannotGoOn);
    m_list->refusal = full();
    m_fake->change(true, downloaded(200));
    QCOMPARE(givenUp.size(), 1);
    QCOMPARE(givenUp.first().first().value<Failure>().detail, full().detail);
    QTRY_VERIFY(!m_fake->isRunning());
    QCOMPARE(givenUp.size(), 1);
    QCOMPARE(m_run->lease().record.bytesDownloaded(false), 200);
}

void TestDownloadRunLate::aRestartDoesNotBeginWhereTheListKeepsTheBytes_data()
{
    QTest::addColumn<Failure>("refusal");
    QTest::newRow("because it is full") << full();
    QTest::newRow("because somebody else has claimed the download")
        << Failure::make(Failure::Kind::OwnedByOther, Failure::Subject::of(1), {}, 1);
}

void TestDownloadRunLate::aRestartDoesNotBeginWhereTheListKeepsTheBytes()
{
    QFETCH(Failure, refusal);
    m_fake = new FakeDownload(m_id, nullptr);
    Info info = *m_list->load(m_id);
    downloaded(300)(info);
    QVERIFY(m_list->update(info));
    m_fake->setInfo(info);
    m_run = std::make_unique<DownloadRun>(m_fake, m_list.get(), nullptr, new QuickSyncer);
    QSignalSpy began(m_fake, &FakeDownload::running);
    QSignalSpy failed(m_run.get(), &DownloadRun::saveFailed);
    QSignalSpy givenUp(m_run.get(), &DownloadRun::cannotGoOn);
    QSignalSpy finished(m_run.get(), &DownloadRun::finished);
    m_list->refusal = refusal;
    m_run->run(AbstractDownloadCommand::Restart);
    QCOMPARE(givenUp.size(), 1);
    QCOMPARE(givenUp.first().first().value<Failure>().kind, refusal.kind);
    QCOMPARE(finished.size(), 0);
    if (!m_list->saves.isEmpty())
        m_list->answer();
    QTRY_COMPARE(finished.size(), 1);
    QVERIFY2(failed.isEmpty(), "it is told once");
    QVERIFY(began.isEmpty());
    QCOMPARE(m_list->load(m_id)->bytesDownloaded(false), 300);
}

void TestDownloadRunLate::aFileIsNotMadeBeforeTheListKnows()
{
    m_fake->change(true, [](Info &info) {
        AbstractDownloadFileInfo file;
        file.name = u"x.bin"_s;
        info.files = {file};
    });
    QCOMPARE(m_list->saves.size(), 1);
    Q_EMIT m_fake->performingFilesOperations(true);
    QVERIFY(m_list->fileIdentity(m_id).plannedAt() > 0);
}

void TestDownloadRunLate::aFileThatWasMadeIsKnownBeforeAnythingIsInIt_data()
{
    QTest::addColumn<bool>("isSaving");
    QTest::newRow("nothing else is being saved") << false;
    QTest::newRow("an earlier state is being saved") << true;
}

void TestDownloadRunLate::aFileThatWasMadeIsKnownBeforeAnythingIsInIt()
{
    QFETCH(bool, isSaving);
    if (isSaving)
        m_fake->change(true, titled(u"a"_s));
    QCOMPARE(m_list->saves.size(), qsizetype(isSaving));
    m_fake->change(true, downloaded(0));
    QCOMPARE(m_list->load(m_id)->files.value(0).pathOnDisk, u"x.bin.part"_s);
    QCOMPARE(m_list->updates, QList{DownloadStore::Lasting::ThisRunOfTheMachine});
    // What follows does not hold up the bytes.
    m_fake->change(true, downloaded(300));
    QCOMPARE(m_list->updates.size(), 1);
}

void TestDownloadRunLate::anAnswerThatWasOvertakenIsNotWhatTheListSays()
{
    m_fake->change(true, downloaded(300));
    m_list->answer();
    m_fake->change(true, downloaded(400));
    m_fake->change(true, downloaded(350));
    QCOMPARE(m_run->lease().record.bytesDownloaded(false), 350);
    m_list->answer();
    QCOMPARE(m_run->lease().record.bytesDownloaded(false), 350);
}

void TestDownloadRunLate::aFailureIsTold()
{
    QSignalSpy failed(m_run.get(), &DownloadRun::saveFailed);
    m_fake->change(true, titled(u"a"_s));
    QVERIFY(m_list->remove(m_id));
    QVERIFY(failed.isEmpty());
    m_list->answer();
    QCOMPARE(failed.size(), 1);
    QCOMPARE(failed.first().first().value<Failure>().kind, Failure::Kind::CannotChangeList);
    QSignalSpy finished(m_run.get(), &DownloadRun::finished);
    m_run->stop();
    m_list->answer();
    QTRY_COMPARE(finished.size(), 1);
}

QTEST_GUILESS_MAIN(TestDownloadRunLate)
#include "tst_downloadrun_late.moc"
