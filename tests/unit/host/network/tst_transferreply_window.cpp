// SPDX-License-Identifier: MIT
#include <tests/unit/host/network/transferbench.h>

#include <QElapsedTimer>
#include <QRandomGenerator>
#include <QTest>

#include <algorithm>
#include <vector>

using namespace Qt::StringLiterals;

/// How a reply's bytes are read: windows, blocks, readers that are slow or stop.
class TestTransferReplyWindow : public TransferBench
{
    Q_OBJECT

private Q_SLOTS:
    void noMoreThanTheWindowIsShown_data();
    void noMoreThanTheWindowIsShown();
    void readingNothingTakesNothing();
    void whatAReadLeavesIsToldOfAgain();
    void aSlotThatReadsNothingIsNotCalledAgain();
    void theEndWaitsUntilTheRestFits_data();
    void theEndWaitsUntilTheRestFits();
    void aWindowThatGrowsShowsMoreAndLetsTheServerGoOn();
    void aBlockMayBeMoreThanTheWindow();
    void aBlockIsNoMoreThanWasAskedFor();
    void blocksAndReadsGiveTheFileInOrder_data();
    void blocksAndReadsGiveTheFileInOrder();
    void aReaderThatWaitsBoundsMemoryAndTheServer_data();
    void aReaderThatWaitsBoundsMemoryAndTheServer();
    void aReaderThatStopsForGoodMayAbort();
    void whatIsUnreadAtTheEndCanBeReadThen();

private:
    void setFile(qint64 size);
};

namespace
{

constexpr qint64 kMiB = 1024 * 1024;

ScriptedResponse largeFile(quint64 seed, qint64 size)
{
    return ScriptedResponse::file(seed, size);
}

}

void TestTransferReplyWindow::setFile(qint64 size)
{
    m_server->setResponse("/file", largeFile(kSeed, size));
}

void TestTransferReplyWindow::noMoreThanTheWindowIsShown_data()
{
    QTest::addColumn<qint64>("window");
    QTest::addColumn<qint64>("size");
    QTest::newRow("as much as there is") << qint64(0) << 3 * kMiB;
    QTest::newRow("1 byte") << qint64(1) << qint64(2000);
    QTest::newRow("30 bytes") << qint64(30) << qint64(40000);
    QTest::newRow("4 KiB") << qint64(4096) << kMiB;
    QTest::newRow("128 KiB") << qint64(131072) << 12 * kMiB;
    QTest::newRow("1 MiB") << kMiB << 12 * kMiB;
}

void TestTransferReplyWindow::noMoreThanTheWindowIsShown()
{
    QFETCH(qint64, window);
    QFETCH(qint64, size);
    setFile(size);
    const Reply reply = get();
    reply->setReadBufferSize(window);
    QCOMPARE(reply->readBufferSize(), window);
    qint64 most = 0;
    connect(reply.get(), &QNetworkReply::readyRead, this, [&] { most = std::max(most, reply->bytesAvailable()); });
    const Recorder recorder(reply.get());
    QVERIFY(recorder.wait());
    QCOMPARE(recorder.events, Recorder::wholeAnswer());
    QVERIFY(recorder.body + reply->readAll() == content(0, size));
    QVERIFY(most > 0);
    if (window > 0)
        QVERIFY2(most <= window, QByteArray::number(most));
}

void TestTransferReplyWindow::readingNothingTakesNothing()
{
    holdFileAfter(1000);
    const Reply reply = get();
    QTRY_COMPARE(reply->bytesAvailable(), 1000);
    char byte = 0;
    QCOMPARE(reply->read(&byte, 0), 0);
    QVERIFY(reply->read(0).isEmpty());
    QCOMPARE(reply->bytesAvailable(), 1000);
    QCOMPARE(reply->readAll().size(), 1000);
    QCOMPARE(reply->read(&byte, 1), 0);
    m_server->release();
    const Recorder recorder(reply.get());
    QVERIFY(recorder.wait());
    reply->readAll();
    QCOMPARE(reply->read(&byte, 1), -1);
}

void TestTransferReplyWindow::whatAReadLeavesIsToldOfAgain()
{
    holdFileAfter(1000);
    const Reply reply = get();
    QByteArray body;
    connect(reply.get(), &QNetworkReply::readyRead, this, [&] { body += reply->read(100); });
    QTRY_COMPARE(body.size(), 1000);
    QVERIFY(body == content(0, 1000));
}

void TestTransferReplyWindow::aSlotThatReadsNothingIsNotCalledAgain()
{
    holdFileAfter(1000);
    const Reply reply = get();
    const Recorder recorder(reply.get(), Recorder::Reads::Nothing);
    QTRY_COMPARE(reply->bytesAvailable(), 1000);
    const int count = recorder.dataCount();
    // Another transfer on the same loop comes and goes meanwhile.
    m_server->setResponse("/other", ScriptedResponse::ok("other"));
    const Reply other = get("/other");
    const Recorder second(other.get());
    QVERIFY(second.wait());
    QVERIFY(recorder.dataCount() <= count + 1);
    QCOMPARE(reply->bytesAvailable(), 1000);
}

void TestTransferReplyWindow::theEndWaitsUntilTheRestFits_data()
{
    QTest::addColumn<qint64>("cutAfter");
    QTest::addColumn<QStringList>("events");
    QTest::newRow("of a whole answer") << qint64(-1) << Recorder::wholeAnswer();
    QTest::newRow("by an error") << qint64(
        2500) << QStringList{u"head"_s, u"data"_s} + Recorder::failureWith(QNetworkReply::RemoteHostClosedError);
}

void TestTransferReplyWindow::theEndWaitsUntilTheRestFits()
{
    QFETCH(qint64, cutAfter);
    QFETCH(QStringList, events);
    constexpr qint64 kWindow = 1000;
    ScriptedResponse response = largeFile(kSeed, 3000);
    response.cutAfter = cutAfter;
    m_server->setResponse("/file", response);
    const Reply reply = get();
    reply->setReadBufferSize(kWindow);
    const Recorder recorder(reply.get(), Recorder::Reads::Nothing);
    QByteArray body;
    const qint64 size = cutAfter < 0 ? 3000 : cutAfter;
    qint64 leftAtEnd = -1;
    connect(reply.get(), &QNetworkReply::finished, this, [&] { leftAtEnd = reply->bytesAvailable(); });
    while (!recorder.hasEnded()) {
        QVERIFY(QTest::qWaitFor([&] { return reply->bytesAvailable() > 0 || recorder.hasEnded(); }, 20000));
        QVERIFY(reply->bytesAvailable() <= kWindow);
        // All that is left fits as soon as this is read.
        body += reply->read(size - body.size() > kWindow ? 250 : 0);
        QCoreApplication::processEvents();
    }
    QCOMPARE(recorder.events, events);
    QVERIFY(leftAtEnd > 0 && leftAtEnd <= kWindow);
    QCOMPARE(body.size() + leftAtEnd, size);
    QVERIFY(body + reply->readAll() == content(0, size));
}

void TestTransferReplyWindow::aWindowThatGrowsShowsMoreAndLetsTheServerGoOn()
{
    setFile(kMiB);
    const Reply reply = get();
    reply->setReadBufferSize(30);
    const Recorder recorder(reply.get(), Recorder::Reads::Nothing);
    QTRY_COMPARE(reply->bytesAvailable(), 30);
    QVERIFY(!recorder.hasEnded());
    reply->setReadBufferSize(2 * kMiB);
    QVERIFY(recorder.wait());
    QVERIFY(reply->readAll() == content(0, kMiB));
}

void TestTransferReplyWindow::aBlockMayBeMoreThanTheWindow()
{
    setFile(3 * kMiB);
    const std::unique_ptr<TransferReply> reply = getDirectly();
    reply->setReadBufferSize(131072);
    const Recorder recorder(reply.get(), Recorder::Reads::Nothing);
    QByteArray body;
    qsizetype largest = 0;
    const bool isWhole = QTest::qWaitFor(
        [&] {
            for (QByteArray block = reply->takeBlock(-1); !block.isEmpty(); block = reply->takeBlock(-1)) {
                largest = std::max(largest, block.size());
                body += block;
            }
            return recorder.hasEnded() && reply->bytesAvailable() == 0;
        },
        ScriptedServer::kPatienceMs);
    QVERIFY(isWhole);
    QVERIFY(body == content(0, 3 * kMiB));
    QCOMPARE(reply->error(), QNetworkReply::NoError);
    QVERIFY(largest <= m_means->budget.blockSize());
}

void TestTransferReplyWindow::aBlockIsNoMoreThanWasAskedFor()
{
    holdFileAfter(1000);
    const std::unique_ptr<TransferReply> reply = getDirectly();
    QTRY_COMPARE(reply->bytesAvailable(), 1000);
    QVERIFY(reply->takeBlock(0).isEmpty());
    QVERIFY(reply->takeBlock(10) == content(0, 10));
    QCOMPARE(reply->bytesAvailable(), 990);
    QVERIFY(reply->takeBlock(990) == content(10, 990));
    QVERIFY(reply->takeBlock(10).isEmpty());
}

void TestTransferReplyWindow::blocksAndReadsGiveTheFileInOrder_data()
{
    QTest::addColumn<quint32>("seed");
    for (quint32 seed = 1; seed <= 12; ++seed)
        QTest::addRow("seed %u", seed) << seed;
}

/// The reader takes pieces of every size in every way, and changes the window as it likes: it stops and starts the
/// far side all the time.
void TestTransferReplyWindow::blocksAndReadsGiveTheFileInOrder()
{
    QFETCH(quint32, seed);
    constexpr qint64 kFile = 3 * kMiB;
    QRandomGenerator random(seed);
    setFile(kFile);
    const std::unique_ptr<TransferReply> reply = getDirectly();
    const Recorder recorder(reply.get(), Recorder::Reads::Nothing);
    const qint64 most = qint64(1) << (8 + seed % 12);
    QByteArray body;
    int step = 0;
    const auto readOn = [&] {
        if (++step % 50 == 0)
            reply->setReadBufferSize(random.bounded(2) == 0 ? random.bounded(300000) : 131072);
        const qint64 size = 1 + random.bounded(int(most));
        const int way = random.bounded(3);
        body += way == 0 ? reply->takeBlock(-1) : way == 1 ? reply->takeBlock(size) : reply->read(size);
        QCoreApplication::processEvents();
        return recorder.hasEnded() && reply->bytesAvailable() == 0;
    };
    QElapsedTimer timer;
    timer.start();
    while (!readOn())
        QVERIFY2(timer.elapsed() < 60000, QByteArray::number(body.size()));
    QCOMPARE(reply->error(), QNetworkReply::NoError);
    QVERIFY(body == content(0, kFile));
    QCOMPARE(recorder.events, Recorder::wholeAnswer());
}

void TestTransferReplyWindow::aReaderThatWaitsBoundsMemoryAndTheServer_data()
{
    QTest::addColumn<qint64>("window");
    QTest::addColumn<bool>("isSetAtHead");
    QTest::addColumn<qint64>("mostSent");
    // The server's own buffer for what it sends takes a few megabytes.
    QTest::newRow("128 KiB") << qint64(131072) << false << 40 * kMiB;
    QTest::newRow("30 bytes, known from the start") << qint64(30) << false << 20 * kMiB;
    QTest::newRow("30 bytes, known from the head on") << qint64(30) << true << 20 * kMiB;
}

void TestTransferReplyWindow::aReaderThatWaitsBoundsMemoryAndTheServer()
{
    QFETCH(qint64, window);
    QFETCH(bool, isSetAtHead);
    QFETCH(qint64, mostSent);
    constexpr qint64 kFile = 64 * kMiB;
    setFile(kFile);
    m_server->setResponse("/other", largeFile(kSeed + 1, kFile));
    const std::unique_ptr<TransferReply> reply = getDirectly();
    const auto setWindow = [&reply, window] { reply->setReadBufferSize(window); };
    if (isSetAtHead)
        connect(reply.get(), &QNetworkReply::metaDataChanged, reply.get(), setWindow);
    else
        setWindow();
    QTRY_COMPARE(reply->bytesAvailable(), window);
    // A file as long comes whole meanwhile, through the same loop and from the same server.
    const std::unique_ptr<TransferReply> other = getDirectly("/other");
    qint64 received = 0;
    qint64 held = 0;
    connect(other.get(), &QNetworkReply::readyRead, this, [&] {
        received += other->readAll().size();
        held = std::max(held, m_means->pool.held());
    });
    QVERIFY(QTest::qWaitFor([&] { return other->isFinished(); }, ScriptedServer::kPatienceMs));
    received += other->readAll().size();
    QCOMPARE(received, kFile);
    QCOMPARE(reply->bytesAvailable(), window);
    QVERIFY(reply->isRunning());
    const qint64 sent = m_server->bodyBytesSent(0);
    QVERIFY2(sent <= mostSent, QByteArray::number(sent));
    QVERIFY2(held <= 2 * TransferBudget::kTotal, QByteArray::number(held));
}

void TestTransferReplyWindow::aReaderThatStopsForGoodMayAbort()
{
    setFile(64 * kMiB);
    const Reply reply = get();
    reply->setReadBufferSize(131072);
    QTRY_COMPARE(reply->bytesAvailable(), 131072);
    const Recorder recorder(reply.get());
    reply->abort();
    QCOMPARE(recorder.events, Recorder::failureWith(QNetworkReply::OperationCanceledError));
    QVERIFY(m_server->waitForNoConnections());
}

void TestTransferReplyWindow::whatIsUnreadAtTheEndCanBeReadThen()
{
    const Reply reply = get();
    const Recorder recorder(reply.get(), Recorder::Reads::Nothing);
    QVERIFY(recorder.wait());
    QCOMPARE(reply->bytesAvailable(), kSize);
    QVERIFY(reply->read(1000) == content(0, 1000));
    QVERIFY(reply->readAll() == content(1000));
    QCOMPARE(reply->bytesAvailable(), 0);
}

QTEST_GUILESS_MAIN(TestTransferReplyWindow)
#include "tst_transferreply_window.moc"
