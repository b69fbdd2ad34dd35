// SPDX-License-Identifier: MIT
#include <tests/unit/downloadswww/transferbench.h>

#include <QTest>

using namespace Qt::StringLiterals;

/// Reading, limiting and handing out of what a transfer receives.
class TestWwwDownloaderData : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void dataIsHandedOutOnceASecond();
    void startOpensASecondOfItsOwn();
    void completeSectionIsHandedOutAtOnce();
    void endHandsOutAtOnce();

    void excessIsCutOff();
    void lastByteEndsTheRun();
    void completeSectionTakesNothing();
    void emptySectionTakesNothing();

    void unconfirmedChunkHoldsTheRestBack();
    void whatCameLateInASecondIsHandedOutWithoutMore();
    void aClockSetBackHoldsNothingBack();
    void unconfirmedDataPutsOffTheTimeout();
    void confirmationReadsOn();
    void partialConfirmationsAddUp();
    void confirmations_data();
    void confirmations();
    void confirmationHandsOutWhatWasBuffered();
    void readTimerReadsOn();
    void dataBeyondTheEndWaitsForConfirmation();
    void unconfirmedChunkOutlivesTheRun();
    void unconfirmedChunkHoldsBackTheNextRun();

    void heldBackDataIsKept();
    void heldBackDataOfAFinishedRunIsHandedOutLater();
    void settingHeldBackTwiceIsNothing();
    void heldBackDataHasABound();
    void heldBackDataIsNoMoreThanAWindow();

    void limit_data();
    void limit();
    void limitIsSpentOverTheSecond();
    void globalLimitCountsAsItStandsAtEachRead();
    void theReplyLearnsOfTheLimitInForce();
    void limitDoesNotHoldBackTheEnd();
    void withoutLimitEverythingIsRead_data();
    void withoutLimitEverythingIsRead();
    void speedIsCounted();

    void truncatedBelowWhatCame();
    void truncatedToWhatCame();
    void truncatedAboveWhatCame();
    void truncatedBelowWhatIsOut();
    void truncatedWhenIdle();
};

void TestWwwDownloaderData::dataIsHandedOutOnceASecond()
{
    TransferBench bench;
    bench.startReceiving();
    bench.downloader->second++;
    bench.reply()->sendData("a");
    QCOMPARE(bench.chunks, QByteArrayList{"a"});
    bench.confirm();
    bench.reply()->sendData("b");
    bench.reply()->sendData("c");
    QCOMPARE(bench.chunks.size(), 1);
    bench.downloader->second++;
    bench.reply()->sendData("d");
    QCOMPARE(bench.chunks, (QByteArrayList{"a", "bcd"}));
    QCOMPARE(bench.downloader->source().sectionDownloaded, 4);
    QCOMPARE(bench.downloader->totalBytes(), 4);
}

void TestWwwDownloaderData::startOpensASecondOfItsOwn()
{
    TransferBench bench;
    bench.startReceiving();
    bench.reply()->sendData("a");
    QVERIFY(bench.chunks.isEmpty());
    bench.downloader->second++;
    bench.reply()->sendData("b");
    QCOMPARE(bench.chunks, QByteArrayList{"ab"});
}

void TestWwwDownloaderData::completeSectionIsHandedOutAtOnce()
{
    TransferBench bench;
    bench.startReceiving(3);
    bench.reply()->sendData("ab");
    QVERIFY(bench.chunks.isEmpty());
    bench.reply()->sendData("c");
    QCOMPARE(bench.chunks, QByteArrayList{"abc"});
}

void TestWwwDownloaderData::endHandsOutAtOnce()
{
    TransferBench bench;
    bench.startReceiving();
    bench.reply()->sendData("a");
    bench.reply()->addData("b");
    bench.reply()->end();
    QCOMPARE(bench.chunks, QByteArrayList{"ab"});
}

void TestWwwDownloaderData::excessIsCutOff()
{
    TransferBench bench;
    bench.startReceiving(100, 90);
    bench.reply()->sendData("0123456789and twenty more bytes");
    QCOMPARE(bench.received(), "0123456789");
    QCOMPARE(bench.downloader->source().sectionDownloaded, 100);
    QVERIFY(bench.downloader->isFinished());
    QVERIFY(!bench.downloader->isRunning());
    QCOMPARE(bench.downloader->lastError(), AbstractError());
}

void TestWwwDownloaderData::lastByteEndsTheRun()
{
    TransferBench bench;
    bench.startReceiving(3);
    const QPointer<FakeReply> reply = bench.reply();
    reply->sendData("abc");
    QVERIFY(!bench.downloader->isRunning());
    QVERIFY(reply->wasAborted());
    QVERIFY(bench.downloader->isFinished());
    QVERIFY(!bench.downloader->isDataProcessed());
    bench.confirm();
    QVERIFY(bench.downloader->isDataProcessed());
}

void TestWwwDownloaderData::completeSectionTakesNothing()
{
    TransferBench bench;
    bench.startReceiving(100, 100);
    bench.reply()->sendData("x");
    QVERIFY(bench.chunks.isEmpty());
    QVERIFY(!bench.downloader->isRunning());
    QCOMPARE(bench.downloader->source().sectionDownloaded, 100);
    QCOMPARE(bench.downloader->totalBytes(), 0);
}

void TestWwwDownloaderData::emptySectionTakesNothing()
{
    TransferBench bench;
    bench.startReceiving(0);
    bench.reply()->end();
    QVERIFY(bench.chunks.isEmpty());
    QVERIFY(bench.downloader->isFinished());
    QVERIFY(bench.downloader->isDataProcessed());
}

void TestWwwDownloaderData::unconfirmedChunkHoldsTheRestBack()
{
    TransferBench bench;
    bench.startReceiving();
    bench.downloader->second++;
    bench.reply()->sendData("a");
    QVERIFY(!bench.readTimer()->isActive());
    bench.downloader->second++;
    bench.reply()->sendData("b");
    QCOMPARE(bench.chunks.size(), 1);
    QCOMPARE(bench.reply()->bytesAvailable(), 1);
    QVERIFY(bench.readTimer()->isActive());
    QCOMPARE(bench.readTimer()->interval(), 50);
    TransferBench::fire(bench.readTimer());
    QCOMPARE(bench.reply()->bytesAvailable(), 1);
}

void TestWwwDownloaderData::whatCameLateInASecondIsHandedOutWithoutMore()
{
    TransferBench bench;
    bench.startReceiving();
    bench.reply()->sendData("late");
    QVERIFY(bench.chunks.isEmpty());
    QVERIFY(bench.handOutTimer()->isActive());
    TransferBench::fire(bench.handOutTimer());
    QCOMPARE(bench.chunks, QList<QByteArray>{"late"});
    QVERIFY2(!bench.handOutTimer()->isActive(), "there is nothing left");
}

void TestWwwDownloaderData::aClockSetBackHoldsNothingBack()
{
    TransferBench bench;
    bench.startReceiving();
    bench.downloader->second -= 3600;
    bench.reply()->sendData("a");
    QCOMPARE(bench.chunks, QByteArrayList{"a"});
}

void TestWwwDownloaderData::unconfirmedDataPutsOffTheTimeout()
{
    TransferBench bench;
    bench.startReceiving();
    bench.downloader->second++;
    bench.reply()->sendData("a");
    bench.reply()->addData("b");
    bench.inactivityTimer()->stop();
    TransferBench::fire(bench.readTimer());
    QVERIFY(bench.inactivityTimer()->isActive());
}

void TestWwwDownloaderData::confirmationReadsOn()
{
    TransferBench bench;
    bench.startReceiving();
    bench.downloader->second++;
    bench.reply()->sendData("a");
    bench.reply()->sendData("b");
    bench.downloader->second++;
    bench.confirm();
    QCOMPARE(bench.chunks, (QByteArrayList{"a", "b"}));
    QCOMPARE(bench.reply()->bytesAvailable(), 0);
}

void TestWwwDownloaderData::partialConfirmationsAddUp()
{
    TransferBench bench;
    bench.startReceiving();
    bench.downloader->second++;
    bench.reply()->sendData("abc");
    bench.reply()->sendData("d");
    bench.downloader->second++;
    bench.downloader->onDataProcessed(1);
    bench.downloader->onDataProcessed(1);
    QCOMPARE(bench.chunks.size(), 1);
    bench.downloader->onDataProcessed(1);
    QCOMPARE(bench.chunks, (QByteArrayList{"abc", "d"}));
}

void TestWwwDownloaderData::confirmations_data()
{
    QTest::addColumn<qint64>("size");
    QTest::addColumn<bool>("confirms");

    QTest::newRow("more than is out confirms it all, and no more") << qint64(1000) << true;
    QTest::newRow("just what is out confirms it") << qint64(3) << true;
    QTest::newRow("less does not") << qint64(2) << false;
    QTest::newRow("nothing does not") << qint64(0) << false;
    QTest::newRow("less than nothing does not") << qint64(-5) << false;
}

void TestWwwDownloaderData::confirmations()
{
    QFETCH(qint64, size);
    TransferBench bench;
    bench.startReceiving(3);
    bench.reply()->sendData("abc");
    bench.downloader->onDataProcessed(size);
    QTEST(bench.downloader->isDataProcessed(), "confirms");
    bench.downloader->onDataProcessed(3);
    QVERIFY(bench.downloader->isDataProcessed());
}

void TestWwwDownloaderData::confirmationHandsOutWhatWasBuffered()
{
    TransferBench bench;
    bench.startReceiving();
    bench.downloader->second++;
    bench.reply()->sendData("a");
    bench.reply()->addData("bc");
    bench.reply()->end();
    QCOMPARE(bench.chunks, QByteArrayList{"a"});
    QVERIFY(!bench.downloader->isRunning());
    bench.confirm();
    QCOMPARE(bench.chunks, (QByteArrayList{"a", "bc"}));
    QVERIFY(!bench.downloader->isDataProcessed());
    bench.confirm();
    QVERIFY(bench.downloader->isDataProcessed());
}

void TestWwwDownloaderData::readTimerReadsOn()
{
    TransferBench bench;
    bench.startReceiving();
    bench.downloader->second++;
    bench.reply()->addData("a");
    TransferBench::fire(bench.readTimer());
    QCOMPARE(bench.chunks, QByteArrayList{"a"});
}

void TestWwwDownloaderData::dataBeyondTheEndWaitsForConfirmation()
{
    TransferBench bench;
    bench.startReceiving(5);
    bench.downloader->second++;
    bench.reply()->sendData("abc");
    bench.reply()->sendData("defgh");
    QVERIFY(bench.downloader->isRunning());
    bench.confirm();
    QCOMPARE(bench.received(), "abcde");
    QVERIFY(!bench.downloader->isRunning());
}

void TestWwwDownloaderData::unconfirmedChunkOutlivesTheRun()
{
    TransferBench bench;
    bench.startReceiving();
    bench.downloader->second++;
    bench.reply()->sendData("a");
    bench.downloader->stop();
    QVERIFY(!bench.downloader->isDataProcessed());
    bench.confirm();
    QVERIFY(bench.downloader->isDataProcessed());
}

void TestWwwDownloaderData::unconfirmedChunkHoldsBackTheNextRun()
{
    TransferBench bench;
    bench.startReceiving();
    bench.downloader->second++;
    bench.reply()->sendData("a");
    bench.downloader->stop();
    bench.startReceiving();
    bench.downloader->second++;
    bench.reply()->sendData("b");
    QCOMPARE(bench.chunks, QByteArrayList{"a"});
    bench.confirm();
    QCOMPARE(bench.chunks, (QByteArrayList{"a", "b"}));
}

void TestWwwDownloaderData::heldBackDataIsKept()
{
    TransferBench bench;
    bench.downloader->setDontEmitData(true);
    bench.startReceiving();
    bench.downloader->second++;
    bench.reply()->sendData("ab");
    bench.reply()->sendData("c");
    QVERIFY(bench.chunks.isEmpty());
    QCOMPARE(bench.downloader->source().sectionDownloaded, 3);
    bench.downloader->setDontEmitData(false);
    QCOMPARE(bench.chunks, QByteArrayList{"abc"});
}

void TestWwwDownloaderData::heldBackDataOfAFinishedRunIsHandedOutLater()
{
    TransferBench bench;
    bench.downloader->setDontEmitData(true);
    bench.startReceiving();
    bench.reply()->sendData("ab");
    bench.reply()->end();
    QVERIFY(!bench.downloader->isRunning());
    QVERIFY(!bench.downloader->isDataProcessed());
    bench.downloader->setDontEmitData(false);
    QCOMPARE(bench.chunks, QByteArrayList{"ab"});
    bench.confirm();
    QVERIFY(bench.downloader->isDataProcessed());
}

void TestWwwDownloaderData::settingHeldBackTwiceIsNothing()
{
    TransferBench bench;
    bench.startReceiving();
    bench.reply()->sendData("ab");
    bench.downloader->setDontEmitData(false);
    QVERIFY(bench.chunks.isEmpty());
}

void TestWwwDownloaderData::heldBackDataHasABound()
{
    QCOMPARE(WwwDownloader::kHeldBackSize, WwwDownloader::kReadBufferSize);
    TransferBench bench;
    bench.downloader->setDontEmitData(true);
    bench.startReceiving();
    bench.reply()->sendData(QByteArray(WwwDownloader::kHeldBackSize, 'x'));
    bench.reply()->sendData("more");
    // What waits in the reply stops the far side; a person may take long to say where the file shall go.
    QCOMPARE(bench.downloader->source().sectionDownloaded, WwwDownloader::kHeldBackSize);
    QCOMPARE(bench.reply()->bytesAvailable(), 4);
    QVERIFY(bench.readTimer()->isActive());
    bench.downloader->setDontEmitData(false);
    bench.confirm();
    QCOMPARE(bench.reply()->bytesAvailable(), 0);
    bench.reply()->end();
    bench.confirm();
    QCOMPARE(bench.received().size(), WwwDownloader::kHeldBackSize + 4);
}

void TestWwwDownloaderData::heldBackDataIsNoMoreThanAWindow()
{
    TransferBench bench;
    bench.downloader->setDontEmitData(true);
    bench.startReceiving();
    constexpr qint64 piece = WwwDownloader::kReadBufferSize / 4;
    for (int i = 0; i < 8; ++i)
        bench.reply()->sendData(QByteArray(piece, 'x'));
    QCOMPARE(bench.downloader->source().sectionDownloaded, WwwDownloader::kReadBufferSize);
    QCOMPARE(bench.reply()->bytesAvailable(), 4 * piece);
}

void TestWwwDownloaderData::limit_data()
{
    QTest::addColumn<qint64>("own");
    QTest::addColumn<qint64>("global");
    QTest::addColumn<qint64>("perSecond");

    QTest::newRow("the own limit") << qint64(50000) << qint64(0) << qint64(50000);
    QTest::newRow("the global limit") << qint64(0) << qint64(40000) << qint64(40000);
    QTest::newRow("the smaller of both, the global") << qint64(50000) << qint64(40000) << qint64(40000);
    QTest::newRow("the smaller of both, the own") << qint64(30000) << qint64(40000) << qint64(30000);
}

void TestWwwDownloaderData::limit()
{
    QFETCH(qint64, own);
    QFETCH(qint64, global);
    QFETCH(qint64, perSecond);
    TransferBench bench;
    bench.downloader->setNetworkUsageSettings({own, 0, 0, false});
    bench.chief->setUsageSettings({global, 0, 0, false});
    bench.startReceiving();
    bench.reply()->sendData(QByteArray(200000, 'x'));
    for (int second = 1; second <= 3; ++second) {
        QCOMPARE(bench.downloader->source().sectionDownloaded, second * perSecond);
        QVERIFY(bench.readTimer()->isActive());
        TransferBench::fire(bench.readTimer());
        QCOMPARE(bench.downloader->source().sectionDownloaded, second * perSecond);
        if (!bench.chunks.isEmpty())
            bench.confirm();
        bench.downloader->second++;
        TransferBench::fire(bench.readTimer());
    }
}

void TestWwwDownloaderData::limitIsSpentOverTheSecond()
{
    TransferBench bench;
    bench.downloader->setNetworkUsageSettings({100, 0, 0, false});
    bench.startReceiving();
    bench.reply()->sendData(QByteArray(60, 'x'));
    QVERIFY(!bench.readTimer()->isActive());
    bench.reply()->sendData(QByteArray(60, 'x'));
    QCOMPARE(bench.downloader->source().sectionDownloaded, 100);
    QVERIFY(bench.readTimer()->isActive());
    bench.downloader->setNetworkUsageSettings({110, 0, 0, false});
    TransferBench::fire(bench.readTimer());
    QCOMPARE(bench.downloader->source().sectionDownloaded, 110);
}

void TestWwwDownloaderData::globalLimitCountsAsItStandsAtEachRead()
{
    TransferBench bench;
    const auto readUnder = [&bench](qint64 globalLimit) {
        bench.chief->setUsageSettings({globalLimit, 0, 0, false});
        TransferBench::fire(bench.readTimer());
        return bench.downloader->source().sectionDownloaded;
    };
    bench.chief->setUsageSettings({100, 0, 0, false});
    bench.startReceiving();
    bench.reply()->sendData(QByteArray(1000, 'x'));
    QCOMPARE(bench.downloader->source().sectionDownloaded, 100);
    QCOMPARE(readUnder(130), 130);
    QCOMPARE(readUnder(50), 130);
    bench.downloader->second++;
    QCOMPARE(readUnder(50), 180);
    bench.confirm();
    QCOMPARE(readUnder(0), 1000);
}

void TestWwwDownloaderData::theReplyLearnsOfTheLimitInForce()
{
    TransferBench bench;
    const auto told = [&bench] {
        return bench.reply()->property(AbstractNetworkAccessChief::kDownloadLimit).toLongLong();
    };
    bench.chief->setUsageSettings({300000, 0, 0, false});
    bench.startReceiving();
    QCOMPARE(told(), 300000);
    bench.downloader->setNetworkUsageSettings({200000, 0, 0, false});
    QCOMPARE(told(), 200000);
    bench.downloader->setNetworkUsageSettings({});
    bench.chief->setUsageSettings({});
    bench.reply()->sendData("x");
    QCOMPARE(told(), 0);
}

void TestWwwDownloaderData::limitDoesNotHoldBackTheEnd()
{
    TransferBench bench;
    bench.downloader->setNetworkUsageSettings({100, 0, 0, false});
    bench.startReceiving();
    bench.reply()->sendData(QByteArray(250, 'x'));
    bench.reply()->end();
    QCOMPARE(bench.received().size(), 250);
}

void TestWwwDownloaderData::withoutLimitEverythingIsRead_data()
{
    QTest::addColumn<qint64>("own");
    QTest::addColumn<qint64>("global");

    QTest::newRow("none is set") << qint64(0) << qint64(0);
    QTest::newRow("a negative own limit is none") << qint64(-1) << qint64(0);
    QTest::newRow("a negative own limit lifts the global one") << qint64(-1) << qint64(40000);
}

void TestWwwDownloaderData::withoutLimitEverythingIsRead()
{
    QFETCH(qint64, own);
    QFETCH(qint64, global);
    TransferBench bench;
    bench.downloader->setNetworkUsageSettings({own, 0, 0, false});
    bench.chief->setUsageSettings({global, 0, 0, false});
    bench.startReceiving();
    bench.reply()->sendData(QByteArray(5'000'000, 'x'));
    QCOMPARE(bench.reply()->bytesAvailable(), 0);
    QVERIFY(!bench.readTimer()->isActive());
}

void TestWwwDownloaderData::speedIsCounted()
{
    TransferBench bench;
    bench.startReceiving();
    QCOMPARE(bench.downloader->speed(NetworkTrafficDirection::Download, true), 0);
    bench.reply()->sendData(QByteArray(500, 'x'));
    QCOMPARE(bench.downloader->speed(NetworkTrafficDirection::Download, false), 500);
    QCOMPARE(bench.downloader->speed(NetworkTrafficDirection::Upload, true), 0);
    bench.downloader->second++;
    bench.reply()->sendData(QByteArray(20, 'x'));
    QCOMPARE(bench.downloader->speed(NetworkTrafficDirection::Download, true), 500);
    bench.downloader->second++;
    QCOMPARE(bench.downloader->speed(NetworkTrafficDirection::Download, true), 20);
    bench.downloader->second++;
    QCOMPARE(bench.downloader->speed(NetworkTrafficDirection::Download, true), 0);
}

void TestWwwDownloaderData::truncatedBelowWhatCame()
{
    TransferBench bench;
    bench.startReceiving(1000);
    bench.reply()->sendData("0123456789");
    bench.downloader->truncateSection(4);
    QCOMPARE(bench.received(), "0123");
    QVERIFY(!bench.downloader->isRunning());
    QVERIFY(bench.downloader->isFinished());
    QCOMPARE(bench.downloader->source().sectionLength, 4);
}

void TestWwwDownloaderData::truncatedToWhatCame()
{
    TransferBench bench;
    bench.startReceiving(1000);
    bench.reply()->sendData("0123");
    bench.downloader->truncateSection(4);
    QCOMPARE(bench.received(), "0123");
    QVERIFY(!bench.downloader->isRunning());
}

void TestWwwDownloaderData::truncatedAboveWhatCame()
{
    TransferBench bench;
    bench.startReceiving(1000);
    bench.reply()->sendData("0123");
    bench.downloader->truncateSection(6);
    QVERIFY(bench.downloader->isRunning());
    QVERIFY(bench.chunks.isEmpty());
    bench.reply()->sendData("456789");
    QCOMPARE(bench.received(), "012345");
    QVERIFY(!bench.downloader->isRunning());
}

void TestWwwDownloaderData::truncatedBelowWhatIsOut()
{
    TransferBench bench;
    bench.startReceiving(1000);
    bench.downloader->second++;
    bench.reply()->sendData("0123456789");
    bench.downloader->truncateSection(4);
    QCOMPARE(bench.received(), "0123456789");
    QVERIFY(!bench.downloader->isRunning());
    QCOMPARE(bench.downloader->source().sectionDownloaded, 4);
    bench.confirm();
    QVERIFY(bench.downloader->isDataProcessed());
}

void TestWwwDownloaderData::truncatedWhenIdle()
{
    TransferBench bench;
    bench.startReceiving(3);
    bench.reply()->sendData("abc");
    bench.confirm();
    bench.events.clear();
    bench.downloader->truncateSection(2);
    QCOMPARE(bench.downloader->source().sectionDownloaded, 2);
    QVERIFY(bench.events.isEmpty());
}

QTEST_GUILESS_MAIN(TestWwwDownloaderData)
#include "tst_wwwdownloader_data.moc"
