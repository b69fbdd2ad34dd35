// SPDX-License-Identifier: MIT
#include <inet/qt/download/downloadswww/wwwdownload.h>
#include <inet/qt/download/framework/abstractnetworkconsumersstats.h>
#include <inet/qt/download/framework/qtqobjectstracker.h>
#include <tests/support/downloadfixture.h>
#include <tests/support/scriptedserver.h>
#include <tests/support/testfiles.h>

#include <QDir>
#include <QTest>

using namespace Qt::StringLiterals;

using Command = AbstractDownloadCommand;
using Record = AbstractDownloadPersistentInfo;

namespace
{

constexpr int kDownloads = 100;
constexpr quint64 kSeed = 100;
constexpr qint64 kSize = 1'000'000;
/// Too small for a second section, whose answer would set the first one going again.
constexpr qint64 kOneSection = 300'000;

/// How a download ends.
enum Fate { Finished, FinishedInMemory, Stopped, NotFound, Cut, FateCount };

qsizetype openDescriptors()
{
    return QDir(u"/proc/self/fd"_s).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::System).size();
}

/// A thread opens what its event loop needs once it runs.
void waitUntilItRuns(QThread *thread)
{
    QObject inThread;
    inThread.moveToThread(thread);
    QMetaObject::invokeMethod(
        &inThread, [&inThread] { inThread.moveToThread(nullptr); }, Qt::BlockingQueuedConnection);
}

int livingObjects()
{
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    return QtQObjectsTracker::instance()->livingObjectsCount();
}

void script(ScriptedServer &server)
{
    server.setResponse("/file.bin", ScriptedResponse::file(kSeed, kSize));
    ScriptedResponse held = ScriptedResponse::file(kSeed, kSize);
    held.holdAfter = 1000;
    server.setResponse("/held.bin", held);
    ScriptedResponse cut = ScriptedResponse::file(kSeed, kOneSection);
    cut.cutAfter = 1000;
    server.setResponse("/cut.bin", cut);
}

QString pathFor(Fate fate)
{
    switch (fate) {
    case Stopped:
        return u"/held.bin"_s;
    case NotFound:
        return u"/missing.bin"_s;
    case Cut:
        return u"/cut.bin"_s;
    default:
        return u"/file.bin"_s;
    }
}

}

class TestHundredDownloads : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void nothingIsLeftBehind();

private:
    void runOne(DownloadFixture &host, const ScriptedServer &server, Fate fate);
    void judge(const WwwDownload &download, Fate fate);
};

void TestHundredDownloads::runOne(DownloadFixture &host, const ScriptedServer &server, Fate fate)
{
    WwwDownload download(DownloadFixture::kDownloadId, host.chief, host.userAgents, nullptr);
    QVERIFY(QtQObjectsTracker::instance()->livingObjectsCount() > 0);
    download.setWritersThread(host.writersThread());
    Record info = host.record();
    info.url = server.url(pathFor(fate));
    info.existingFileReaction = AbstractDownloadExistingFileReaction::Overwrite;
    info.destinationType = fate == FinishedInMemory ? Record::ToMemory : Record::ToFolder;
    download.setInfo(info);
    download.doCommand(Command::Start);
    if (fate == Stopped) {
        QTRY_VERIFY_WITH_TIMEOUT(!download.info().files.isEmpty(), 20000);
        download.doCommand(Command::Stop);
    }
    QTRY_VERIFY_WITH_TIMEOUT(!download.isRunning(), 60000);
    judge(download, fate);
}

void TestHundredDownloads::judge(const WwwDownload &download, Fate fate)
{
    const Record info = download.info();
    QCOMPARE(info.isFinished(), fate == Finished || fate == FinishedInMemory);
    QCOMPARE(info.isLastErrorSignificant(), fate == NotFound || fate == Cut);
    if (fate == Finished)
        QCOMPARE(TestFiles::sha256OfFile(info.filePath(0)), TestFiles::sha256OfContent(kSeed, kSize));
    if (fate == FinishedInMemory)
        QCOMPARE(TestFiles::sha256(info.content), TestFiles::sha256OfContent(kSeed, kSize));
}

void TestHundredDownloads::nothingIsLeftBehind()
{
    ScriptedServer server;
    script(server);
    DownloadFixture host(DownloadFixture::UseRealNetwork);
    waitUntilItRuns(host.writersThread());
    const qsizetype descriptors = openDescriptors();
    QCOMPARE(livingObjects(), 0);

    for (int i = 0; i < kDownloads; ++i) {
        runOne(host, server, Fate(i % FateCount));
        if (QTest::currentTestFailed())
            return;
    }
    server.release();
    QTRY_COMPARE(livingObjects(), 0);
    QVERIFY(QtQObjectsTracker::instance()->livingObjects().isEmpty());
    QCOMPARE(host.chief->consumersStats()->consumersCount(), 0);
    QVERIFY(host.chief->consumersStats()->connectionsMap().isEmpty());
    QCOMPARE(host.chief->outCount(), 0);
    QVERIFY(server.waitForNoConnections());
    QTRY_VERIFY(openDescriptors() <= descriptors);
}

QTEST_GUILESS_MAIN(TestHundredDownloads)
#include "tst_hundreddownloads.moc"
