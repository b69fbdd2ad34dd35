// SPDX-License-Identifier: MIT
#include <host/session/sessiondownload.h>
#include <host/storage/downloadlist.h>
#include <tests/unit/host/fakedownload.h>
#include <tests/unit/host/fakemodule.h>

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <memory>

using namespace Qt::StringLiterals;

namespace
{
using Info = AbstractDownloadPersistentInfo;
}

class TestSessionDownload : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void aSignificantChangeIsSavedAtOnce();
    void otherChangesAreSavedTogetherALittleLater();
    void theEndIsSaved();
    void theEndIsToldOnceAndNeverFromInsideTheRun();
    void aCommandWithNothingToDoEndsToo();
    void aListThatFailsIsReported();
    void withoutAListNothingIsSaved();
    void theStatusGathersWhatTheDownloadKnows();

private:
    FakeDownload *makeDownload(const QString &path);
    Info inList() { return m_list->load(m_id).value_or(Info()); }

    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<DownloadList> m_list;
    qint64 m_id = 0;
};

void TestSessionDownload::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    m_list = std::make_unique<DownloadList>();
    QVERIFY2(m_list->open(m_dir->filePath(u"list.sqlite"_s)), qPrintable(m_list->lastErrorText()));
}

FakeDownload *TestSessionDownload::makeDownload(const QString &path)
{
    Info info;
    info.url = QUrl(u"http://a"_s + path);
    info.folder = m_dir->path();
    m_id = m_list->insert(info);
    auto *const download = new FakeDownload(m_id, nullptr);
    download->setInfo(info);
    return download;
}

void TestSessionDownload::aSignificantChangeIsSavedAtOnce()
{
    FakeDownload *const fake = makeDownload(u"/x"_s);
    SessionDownload download(fake, m_list.get(), nullptr);
    download.run(AbstractDownloadCommand::Start);
    fake->change(true, [](Info &info) { info.title = u"new"_s; });
    QCOMPARE(inList().title, u"new"_s);
}

void TestSessionDownload::otherChangesAreSavedTogetherALittleLater()
{
    FakeDownload *const fake = makeDownload(u"/x"_s);
    SessionDownload download(fake, m_list.get(), nullptr);
    download.run(AbstractDownloadCommand::Start);
    QTimer *const timer = download.findChild<QTimer *>();
    QVERIFY(timer && timer->isSingleShot());
    QCOMPARE(timer->interval(), SessionDownload::kSaveIntervalMs);

    fake->change(false, [](Info &info) { info.title = u"one"_s; });
    QVERIFY(timer->isActive());
    fake->change(false, [](Info &info) { info.title = u"two"_s; });
    QVERIFY(inList().title.isEmpty());
    QMetaObject::invokeMethod(timer, "timeout");
    QCOMPARE(inList().title, u"two"_s);
    QVERIFY(!timer->isActive());
}

void TestSessionDownload::theEndIsSaved()
{
    FakeDownload *const fake = makeDownload(u"/x"_s);
    SessionDownload download(fake, m_list.get(), nullptr);
    download.run(AbstractDownloadCommand::Start);
    fake->change(false, [](Info &info) { info.title = u"last"_s; });
    download.stop();
    QCOMPARE(inList().title, u"last"_s);
    QCOMPARE(inList().lastError.code, int(GenericErrorCode::OperationAborted));
    QVERIFY(!download.findChild<QTimer *>()->isActive());
}

void TestSessionDownload::theEndIsToldOnceAndNeverFromInsideTheRun()
{
    SessionDownload download(makeDownload(FakePaths::kDone), m_list.get(), nullptr);
    QSignalSpy finished(&download, &SessionDownload::finished);
    download.run(AbstractDownloadCommand::Start);
    QCOMPARE(finished.size(), 0);
    QTRY_COMPARE(finished.size(), 1);
    QVERIFY(inList().isFinished());
    QCoreApplication::processEvents();
    QCOMPARE(finished.size(), 1);
}

void TestSessionDownload::aCommandWithNothingToDoEndsToo()
{
    SessionDownload download(makeDownload(FakePaths::kNothing), m_list.get(), nullptr);
    QSignalSpy finished(&download, &SessionDownload::finished);
    download.run(AbstractDownloadCommand::Start);
    QTRY_COMPARE(finished.size(), 1);
}

void TestSessionDownload::aListThatFailsIsReported()
{
    FakeDownload *const fake = makeDownload(u"/x"_s);
    SessionDownload download(fake, m_list.get(), nullptr);
    QSignalSpy failed(&download, &SessionDownload::saveFailed);
    download.run(AbstractDownloadCommand::Start);
    QVERIFY(m_list->remove(m_id));
    fake->change(true, [](Info &) {});
    QCOMPARE(failed.size(), 1);
    QVERIFY(failed.first().first().toString().startsWith(u"cannot save"_s));
}

void TestSessionDownload::withoutAListNothingIsSaved()
{
    FakeDownload *const fake = makeDownload(u"/x"_s);
    SessionDownload download(fake, nullptr, nullptr);
    QSignalSpy failed(&download, &SessionDownload::saveFailed);
    download.run(AbstractDownloadCommand::Start);
    fake->change(true, [](Info &info) { info.title = u"new"_s; });
    download.stop();
    QVERIFY(inList().title.isEmpty());
    QVERIFY(failed.isEmpty());
}

void TestSessionDownload::theStatusGathersWhatTheDownloadKnows()
{
    FakeDownload *const fake = makeDownload(u"/x"_s);
    SessionDownload download(fake, m_list.get(), nullptr);
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

QTEST_GUILESS_MAIN(TestSessionDownload)
#include "tst_sessiondownload.moc"
