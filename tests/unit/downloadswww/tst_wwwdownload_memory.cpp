// SPDX-License-Identifier: MIT
#include <inet/qt/download/downloadswww/wwwdownload.h>
#include <inet/qt/download/framework/qtqobjectstracker.h>
#include <tests/support/downloadfixture.h>
#include <tests/support/scriptedserver.h>
#include <tests/support/testfiles.h>

#include <QTest>

using namespace Qt::StringLiterals;

using Command = AbstractDownloadCommand;
using Record = AbstractDownloadPersistentInfo;
using Ranges = QList<AbstractDownloadSection>;

namespace
{

constexpr quint64 kSeed = 77;
constexpr qint64 kManySections = 3'000'000;

struct Bench : DownloadFixture {
    explicit Bench(qint32 destinationType = Record::ToMemory)
        : m_destinationType(destinationType)
    {
        watch(&download);
    }
    Bench(RealNetwork network)
        : DownloadFixture(network)
        , m_destinationType(Record::ToMemory)
    {
        watch(&download);
    }

    void startAt(const QUrl &url)
    {
        Record info = record();
        info.url = url;
        info.destinationType = m_destinationType;
        download.setInfo(info);
        download.doCommand(Command::Start);
    }
    void startAt() { startAt(QUrl(u"http://a.test/dir/file.bin"_s)); }
    QByteArray received() const
    {
        return m_destinationType == Record::ToMemory ? download.info().content : content(u"file.bin"_s);
    }
    Ranges recordedRanges() const { return download.info().files.value(0).sections; }

    WwwDownload download{kDownloadId, chief, userAgents, nullptr};

private:
    const qint32 m_destinationType;
};

int livingObjects(const char *className)
{
    return QtQObjectsTracker::instance()->livingObjects().value(className);
}

}

class TestWwwDownloadMemory : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void contentHoldsTheExactBytes_data();
    void contentHoldsTheExactBytes();
    void noFileIsTouched();
    void writersAndTransfersAreTracked();
    void manySectionsFillOneArray();
    void stoppedRunGoesOnWhereItWas();
    void restartForgetsTheOldBytes();
    void failedRunKeepsWhatCame();
};

void TestWwwDownloadMemory::contentHoldsTheExactBytes_data()
{
    QTest::addColumn<qint32>("destinationType");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<bool>("isLengthKnown");
    for (const auto &[place, type] :
         {qMakePair("in memory, ", Record::ToMemory), qMakePair("in a folder, ", Record::ToFolder)}) {
        const QByteArray where = place;
        QTest::newRow(where + "of known length") << qint32(type) << "0123456789"_ba << true;
        QTest::newRow(where + "of unknown length") << qint32(type) << "0123456789"_ba << false;
        QTest::newRow(where + "of no bytes") << qint32(type) << QByteArray() << true;
        QTest::newRow(where + "of unknown length and no bytes") << qint32(type) << QByteArray() << false;
        QTest::newRow(where + "of one byte that is zero") << qint32(type) << QByteArray(1, '\0') << true;
        QTest::newRow(where + "of a million bytes") << qint32(type) << TestFiles::content(kSeed, 0, 1'000'000) << true;
    }
}

void TestWwwDownloadMemory::contentHoldsTheExactBytes()
{
    QFETCH(qint32, destinationType);
    QFETCH(QByteArray, body);
    QFETCH(bool, isLengthKnown);
    Bench bench(destinationType);
    bench.startAt();
    const QPointer<FakeReply> reply = bench.reply();
    if (isLengthKnown) {
        bench.answer(body);
    } else {
        reply->sendHead(200);
        reply->sendData(body);
        reply->end();
    }
    QTRY_VERIFY(!bench.download.isRunning());
    const Record info = bench.download.info();
    QCOMPARE(info.lastError, AbstractError());
    QVERIFY(info.isFinished());
    QCOMPARE(bench.received(), body);
    QCOMPARE(info.files.first().size, body.size());
    QCOMPARE(bench.recordedRanges(), (Ranges{{0, body.size(), body.size()}}));
    QCOMPARE(bench.names(), destinationType == Record::ToMemory ? QStringList() : QStringList{u"file.bin"_s});
    QVERIFY(destinationType == Record::ToMemory || info.content.isEmpty());
}

void TestWwwDownloadMemory::noFileIsTouched()
{
    Bench bench;
    bench.download.setWritersThread(bench.writersThread());
    bench.startAt();
    bench.answer("0123456789"_ba);
    QTRY_VERIFY(!bench.download.isRunning());
    QVERIFY(bench.download.info().isFinished());
    QVERIFY(bench.events.filter(u"files"_s).isEmpty());
    QVERIFY(!bench.download.info().files.first().isOnDisk());
    QVERIFY(bench.names().isEmpty());
}

void TestWwwDownloadMemory::writersAndTransfersAreTracked()
{
    QTRY_COMPARE(livingObjects("MemoryDataAsyncWriter"), 0);
    QTRY_COMPARE(livingObjects("WwwDownloader"), 0);
    {
        Bench bench;
        bench.startAt();
        bench.begin(10, "01234"_ba);
        QTRY_COMPARE(bench.download.bytesDownloaded(), 5);
        QCOMPARE(livingObjects("MemoryDataAsyncWriter"), 1);
        QCOMPARE(livingObjects("WwwDownloader"), 1);
        QCOMPARE(livingObjects("FileDataAsyncWriter"), 0);
    }
    QTRY_COMPARE(livingObjects("MemoryDataAsyncWriter"), 0);
    QTRY_COMPARE(livingObjects("WwwDownloader"), 0);
}

void TestWwwDownloadMemory::manySectionsFillOneArray()
{
    ScriptedServer server;
    server.setResponse("/file.bin", ScriptedResponse::file(kSeed, kManySections));
    Bench bench(DownloadFixture::UseRealNetwork);
    bench.startAt(server.url(u"/file.bin"_s));
    QTRY_VERIFY_WITH_TIMEOUT(!bench.download.isRunning(), 60000);
    QVERIFY(bench.download.info().isFinished());
    QVERIFY(server.requests("/file.bin").size() > 1);
    QCOMPARE(TestFiles::sha256(bench.download.info().content), TestFiles::sha256OfContent(kSeed, kManySections));
    QVERIFY(bench.connections().isEmpty());
}

void TestWwwDownloadMemory::stoppedRunGoesOnWhereItWas()
{
    Bench bench;
    bench.startAt();
    bench.begin(10, "01234"_ba);
    QTRY_COMPARE(bench.download.bytesDownloaded(), 5);
    bench.download.doCommand(Command::Stop);
    QTRY_VERIFY(!bench.download.isRunning());
    QCOMPARE(bench.download.info().content, "01234"_ba);
    QCOMPARE(bench.recordedRanges(), (Ranges{{0, 10, 5}}));

    Bench next;
    next.download.setInfo(bench.download.info());
    next.download.doCommand(Command::Start);
    QCOMPARE(next.reply()->request().rawHeader("Range"), "bytes=5-"_ba);
    next.beginRange(5, 10, "56789"_ba);
    next.reply()->end();
    QTRY_VERIFY(!next.download.isRunning());
    QVERIFY(next.download.info().isFinished());
    QCOMPARE(next.download.info().content, "0123456789"_ba);
}

void TestWwwDownloadMemory::restartForgetsTheOldBytes()
{
    Bench bench;
    bench.startAt();
    bench.answer("0123456789"_ba);
    QTRY_VERIFY(!bench.download.isRunning());
    bench.download.doCommand(Command::Restart);
    QVERIFY(bench.download.info().content.isEmpty());
    bench.answer("new"_ba);
    QTRY_VERIFY(!bench.download.isRunning());
    QVERIFY(bench.download.info().isFinished());
    QCOMPARE(bench.download.info().content, "new"_ba);
}

void TestWwwDownloadMemory::failedRunKeepsWhatCame()
{
    Bench bench;
    bench.startAt();
    bench.begin(10, "01234"_ba);
    QTRY_COMPARE(bench.download.bytesDownloaded(), 5);
    bench.reply()->end(QNetworkReply::RemoteHostClosedError, u"cut"_s);
    QTRY_VERIFY(!bench.download.isRunning());
    QCOMPARE(bench.download.lastError().code, int(QNetworkReply::RemoteHostClosedError));
    QVERIFY(!bench.download.info().isFinished());
    QCOMPARE(bench.download.info().content, "01234"_ba);
    QCOMPARE(bench.recordedRanges(), (Ranges{{0, 10, 5}}));
}

QTEST_GUILESS_MAIN(TestWwwDownloadMemory)
#include "tst_wwwdownload_memory.moc"
