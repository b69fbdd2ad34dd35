// SPDX-License-Identifier: MIT
#include <host/engine/downloadrun.h>
#include <host/network/resourceguard.h>
#include <host/storage/downloadlist.h>
#include <tests/unit/host/engine/fakedownload.h>

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace
{

using Info = AbstractDownloadPersistentInfo;
using File = AbstractDownloadFileInfo;
using Fields = QList<ResourceIdentity::Field>;

const QUrl kAddress(u"http://a/x"_s);
const QUrl kTarget(u"http://b/x"_s);

/// A disk that takes everything at once.
class FakeSyncer : public FileSyncer
{
public:
    void sync(const QString &, bool) override { Q_EMIT synced({0, 0, FileIdentity{u"7:1"_s}}); }
};

void setBytes(Info &info, qint64 bytes)
{
    File file;
    file.name = u"x.bin"_s;
    file.pathOnDisk = u"x.bin.part"_s;
    file.fileFlags = File::CreatedOnDisk;
    file.size = 1000;
    file.sections = {{0, 1000, bytes}};
    info.files = {file};
}

TransferPipe::Head part(const QByteArray &etag)
{
    return {206, {}, Fields{{"ETag", etag}, {"Content-Range", "bytes 300-999/1000"}}, {}, false, true};
}

ResourceMemory memory()
{
    ResourceMemory memory;
    memory.addresses = {{kAddress, kTarget, 1, ResourceIdentity::of(206, part("\"a\"").fields)}};
    memory.evidence.add({kAddress, memory.addresses.constFirst().identity, true});
    return memory;
}

}

/// A run whose answers are held against what is known of the resource.
class TestDownloadRunGuard : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void aRefusedAnswerEndsTheRunAsAChangedResource();
    void theFirstRefusalIsTheReason();
    void theAddressOfTheRefusedAnswerIsTheOneThatFailed();
    void aRunThatFailedOtherwiseKeepsItsError();
    void whatIsRememberedIsSavedWithTheBytes();
    void whatDidNotChangeIsNotSavedAgain();
    void aRestartForgetsInTheListToo();
    void whatWasNotFinishedEarlyAfterAllIsAsSureAsItsParts_data();
    void whatWasNotFinishedEarlyAfterAllIsAsSureAsItsParts();
    void whatIsSettledEarlyStaysSo();
    void aMadeUpAnswerIsNoAnswer();

private:
    /// Running, with 300 bytes that came as the memory says.
    void begin(AbstractDownloadCommand command = AbstractDownloadCommand::Start);
    /// With what the list has.
    void goOn();
    void refuse(const QUrl &address = kAddress);

    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<DownloadList> m_list;
    std::shared_ptr<ResourceGuard> m_guard;
    std::unique_ptr<DownloadRun> m_download;
    FakeDownload *m_fake = nullptr;
    qint64 m_id = 0;
};

void TestDownloadRunGuard::init()
{
    m_download.reset();
    m_list.reset();
    m_dir = std::make_unique<QTemporaryDir>();
    m_list = std::make_unique<DownloadList>();
    QVERIFY2(m_list->open(m_dir->filePath(u"list.sqlite"_s)), qPrintable(m_list->lastFailure().plain()));
}

void TestDownloadRunGuard::begin(AbstractDownloadCommand command)
{
    Info info;
    info.url = kAddress;
    info.folder = m_dir->path();
    setBytes(info, 300);
    m_id = info.id = m_list->insert(info);
    QVERIFY(m_list->update(info, DownloadList::Holdings{{}, {}, memory()}, DownloadList::Lasting::ThisRunOfTheMachine));
    m_guard = std::make_shared<ResourceGuard>(ResourceGuard::Task::Download);
    if (command != AbstractDownloadCommand::Restart)
        m_guard->setMemory(memory(), true);
    m_fake = new FakeDownload(m_id, nullptr);
    m_fake->setInfo(info);
    m_download = std::make_unique<DownloadRun>(m_fake, m_list.get(), nullptr, new FakeSyncer);
    m_download->setGuard(m_guard);
    m_download->run(command);
}

void TestDownloadRunGuard::goOn()
{
    const Info info = m_list->load(m_id).value();
    m_guard = std::make_shared<ResourceGuard>(ResourceGuard::Task::Download);
    m_guard->setMemory(m_list->memory(m_id), true);
    m_fake = new FakeDownload(m_id, nullptr);
    m_fake->setInfo(info);
    m_download = std::make_unique<DownloadRun>(m_fake, m_list.get(), nullptr, new FakeSyncer);
    m_download->setGuard(m_guard);
    m_download->run(AbstractDownloadCommand::Start);
}

void TestDownloadRunGuard::refuse(const QUrl &address)
{
    QCOMPARE(m_guard->judge(m_guard->pathTo(address, true), part("\"b\"")).kind,
             ResourceGuard::Judgement::Kind::Refused);
}

void TestDownloadRunGuard::aRefusedAnswerEndsTheRunAsAChangedResource()
{
    begin();
    QSignalSpy finished(m_download.get(), &DownloadRun::finished);
    refuse();
    QVERIFY(!m_fake->isRunning());
    QTRY_COMPARE(finished.size(), 1);
    const AbstractError expected{int(DownloadErrorCode::ResourceChanged), ErrorCategory::kDownload, {}, {}};
    for (const AbstractError &error : {m_download->info().lastError, m_list->load(m_id)->lastError}) {
        QCOMPARE(error.code, expected.code);
        QCOMPARE(error.category, expected.category);
        QCOMPARE(QString::fromStdString(error.description),
                 u"The server has another file by now: its ETag is \"b\", and was \"a\"."_s);
    }
    QCOMPARE(m_list->load(m_id)->bytesDownloaded(false), 300);
    QCOMPARE(m_list->memory(m_id), memory());
}

void TestDownloadRunGuard::theFirstRefusalIsTheReason()
{
    begin();
    refuse();
    // Another encoding than that of the bytes ends a run, too.
    Q_EMIT m_fake->gotResponseHeaders(1, {u"HTTP/1.1 206 Partial Content"_s, u"Content-Encoding: gzip"_s});
    QVERIFY(QString::fromStdString(m_download->info().lastError.description).contains(u"its ETag is"_s));
}

void TestDownloadRunGuard::theAddressOfTheRefusedAnswerIsTheOneThatFailed()
{
    begin();
    QVERIFY(m_download->details().failedSource.isEmpty());
    ResourceMemory several = memory();
    several.addresses.append({kTarget, {}, 0, several.addresses.constFirst().identity});
    m_guard->setMemory(several, true);
    refuse(kTarget);
    QCOMPARE(m_download->details().failedSource, kTarget);
}

void TestDownloadRunGuard::aRunThatFailedOtherwiseKeepsItsError()
{
    begin();
    m_fake->end({404, ErrorCategory::kHttp, "fake,5", {}});
    QCOMPARE(m_download->info().lastError.code, 404);
}

void TestDownloadRunGuard::whatIsRememberedIsSavedWithTheBytes()
{
    begin();
    m_guard->takeBytes(ResourceGuard::answerOf(m_guard->pathTo(kTarget, true), part("\"a\"")));
    QCOMPARE(m_list->memory(m_id), memory());
    m_fake->change(true, [](Info &info) { setBytes(info, 400); });
    QCOMPARE(m_list->load(m_id)->bytesDownloaded(false), 400);
    QCOMPARE(m_list->memory(m_id), m_guard->memory());
    QCOMPARE(m_list->memory(m_id).evidence.reason(), Evidence::Doubt::SeveralAddresses);
}

void TestDownloadRunGuard::whatDidNotChangeIsNotSavedAgain()
{
    begin();
    QStringList statements;
    m_list->setStatementObserver([&statements](const QString &statement) { statements.append(statement); });
    m_fake->change(true, [](Info &info) { setBytes(info, 400); });
    QVERIFY(!statements.isEmpty());
    QCOMPARE(statements.filter(u"evidence"_s).size() + statements.filter(u"addresses"_s).size(), 0);
}

void TestDownloadRunGuard::aRestartForgetsInTheListToo()
{
    begin(AbstractDownloadCommand::Restart);
    QCOMPARE(m_list->memory(m_id), ResourceMemory());
}

void TestDownloadRunGuard::whatWasNotFinishedEarlyAfterAllIsAsSureAsItsParts_data()
{
    QTest::addColumn<int>("parts");
    QTest::addColumn<Evidence::Doubt>("doubt");
    QTest::newRow("one part, and the rest") << 1 << Evidence::Doubt::None;
    // Whatever doubt there was about them gave way.
    QTest::newRow("two parts, and the rest") << 2 << Evidence::Doubt::Unknown;
}

void TestDownloadRunGuard::whatWasNotFinishedEarlyAfterAllIsAsSureAsItsParts()
{
    QFETCH(int, parts);
    begin();
    if (parts > 1)
        m_guard->takeBytes(ResourceGuard::answerOf(m_guard->pathTo(kAddress, true), part("\"a\"")));
    m_download->finishNow();
    m_fake->change(true, [](Info &info) { setBytes(info, 400); });
    m_download->stop();
    QCOMPARE(m_list->memory(m_id).evidence.reason(), Evidence::Doubt::FinishedEarly);

    goOn();
    m_guard->takeBytes(ResourceGuard::answerOf(m_guard->pathTo(kAddress, true), part("\"a\"")));
    m_fake->change(true, [](Info &info) {
        setBytes(info, 1000);
        info.setFinished(true, true);
    });
    QVERIFY(m_list->load(m_id)->isFinished());
    QTEST(m_list->memory(m_id).evidence.reason(), "doubt");
}

void TestDownloadRunGuard::whatIsSettledEarlyStaysSo()
{
    begin();
    m_download->finishNow();
    m_fake->change(true, [](Info &info) {
        info.files.first().size = 300;
        info.files.first().sections = {{0, 300, 300}};
    });
    // Before it had its name.
    m_download->stop();
    goOn();
    m_fake->change(true, [](Info &info) { info.setFinished(true, true); });
    QCOMPARE(m_list->memory(m_id).evidence.reason(), Evidence::Doubt::FinishedEarly);
}

void TestDownloadRunGuard::aMadeUpAnswerIsNoAnswer()
{
    begin();
    const QList<QString> sent{u"HTTP/1.1 206 Partial Content"_s};
    Q_EMIT m_fake->gotResponseHeaders(1, sent);
    QCOMPARE(m_download->responseHeaders(), sent);
    m_guard->beginRedirect(m_guard->pathTo(kAddress, true), kTarget, true);
    QVERIFY(m_download->isTellingMadeUp());
    Q_EMIT m_fake->gotResponseHeaders(1, {u"HTTP/1.1 307 Remembered, Nothing Was Sent"_s});
    m_guard->endRedirect();
    QVERIFY(!m_download->isTellingMadeUp());
    QCOMPARE(m_download->responseHeaders(), sent);
}

QTEST_GUILESS_MAIN(TestDownloadRunGuard)

#include "tst_downloadrun_guard.moc"
