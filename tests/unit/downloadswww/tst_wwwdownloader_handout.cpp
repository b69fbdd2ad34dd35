// SPDX-License-Identifier: MIT
#include <tests/unit/downloadswww/transferbench.h>

#include <QTest>
#include <QVariant>

using namespace Qt::StringLiterals;

namespace
{

void handOutEarly(const TransferBench &bench, const QVariant &size)
{
    bench.chief->setProperty("earlyHandOutSize", size);
}

}

/// A reply whose method only sounds like the one that gives blocks away.
class StrangeReply : public FakeReply
{
    Q_OBJECT

public:
    using FakeReply::FakeReply;

    Q_INVOKABLE int takeBlock(qint64) { return 0; }
};

/// What a host may ask for beyond one chunk a second.
class TestWwwDownloaderHandOut : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void isEarlyOnceSoManyBytesAreHeld();
    void isAtOnceWhenTheWriterIsIdle();
    void waitsForTheWriterHoweverMuchIsAskedFor();
    void wishIsReadAtEveryChunk();
    void staysOnceASecond_data();
    void staysOnceASecond();
    void keepsToTheLimit();
    void keepsBackWhatIsHeldBack();
    void lateBytesBelowTheSizeGoOutWithTheSecond();

    void blockReachesTheReceiverUncopied();
    void blockIsTakenWholeHoweverLittleShows();
    void blocksOfASecondAreJoined();
    void blocksKeepToTheLimit();
    void blockBeyondTheEndIsCut();
    void blocksLeftAtTheEndAreTaken();
    void emptyBlockIsNothing();
    void likeNamedMethodOfAnotherKindIsLeftAlone();
};

void TestWwwDownloaderHandOut::isEarlyOnceSoManyBytesAreHeld()
{
    TransferBench bench;
    handOutEarly(bench, qint64(4));
    bench.startReceiving();
    bench.reply()->sendData("abc");
    QVERIFY2(bench.chunks.isEmpty(), "one byte less");
    bench.reply()->sendData("d");
    QCOMPARE(bench.chunks, QByteArrayList{"abcd"});
    bench.confirm();
    bench.reply()->sendData("efghij");
    QCOMPARE(bench.chunks, (QByteArrayList{"abcd", "efghij"}));
}

void TestWwwDownloaderHandOut::isAtOnceWhenTheWriterIsIdle()
{
    TransferBench bench;
    handOutEarly(bench, qint64(1));
    bench.startReceiving();
    bench.reply()->sendData("a");
    QCOMPARE(bench.chunks, QByteArrayList{"a"});
    bench.reply()->sendData("b");
    bench.reply()->sendData("c");
    bench.confirm();
    QCOMPARE(bench.chunks, (QByteArrayList{"a", "bc"}));
    QVERIFY2(!bench.handOutTimer()->isActive(), "nothing is left for the second's end");
}

void TestWwwDownloaderHandOut::waitsForTheWriterHoweverMuchIsAskedFor()
{
    TransferBench bench;
    handOutEarly(bench, qint64(1));
    bench.startReceiving();
    bench.reply()->sendData("a");
    bench.reply()->sendData(QByteArray(1'000'000, 'x'));
    QCOMPARE(bench.chunks, QByteArrayList{"a"});
    QCOMPARE(bench.reply()->bytesAvailable(), 1'000'000);
}

void TestWwwDownloaderHandOut::wishIsReadAtEveryChunk()
{
    TransferBench bench;
    bench.startReceiving();
    bench.reply()->sendData("a");
    QVERIFY(bench.chunks.isEmpty());
    handOutEarly(bench, qint64(2));
    bench.reply()->sendData("b");
    QCOMPARE(bench.chunks, QByteArrayList{"ab"});
    bench.confirm();
    handOutEarly(bench, QVariant());
    bench.reply()->sendData("cdef");
    QCOMPARE(bench.chunks.size(), 1);
}

void TestWwwDownloaderHandOut::staysOnceASecond_data()
{
    QTest::addColumn<QVariant>("size");

    QTest::newRow("where nothing is said") << QVariant();
    QTest::newRow("with a size of 0") << QVariant(qint64(0));
    QTest::newRow("with a negative size") << QVariant(qint64(-1));
    QTest::newRow("with what is no number") << QVariant(u"soon"_s);
    QTest::newRow("with what has no number in it at all") << QVariant(QStringList{u"1"_s, u"2"_s});
}

void TestWwwDownloaderHandOut::staysOnceASecond()
{
    QFETCH(QVariant, size);
    TransferBench bench;
    handOutEarly(bench, size);
    bench.startReceiving();
    bench.reply()->sendData(QByteArray(1'000'000, 'x'));
    QVERIFY(bench.chunks.isEmpty());
    bench.downloader->second++;
    bench.reply()->sendData("y");
    QCOMPARE(bench.chunks.size(), 1);
    QCOMPARE(bench.received().size(), 1'000'001);
}

void TestWwwDownloaderHandOut::keepsToTheLimit()
{
    TransferBench bench;
    handOutEarly(bench, qint64(1));
    bench.downloader->setNetworkUsageSettings({100, 0, 0, false});
    bench.startReceiving();
    bench.reply()->sendData(QByteArray(250, 'x'));
    QCOMPARE(bench.received().size(), 100);
    bench.confirm();
    QCOMPARE(bench.received().size(), 100);
    bench.downloader->second++;
    TransferBench::fire(bench.readTimer());
    QCOMPARE(bench.received().size(), 200);
}

void TestWwwDownloaderHandOut::keepsBackWhatIsHeldBack()
{
    TransferBench bench;
    handOutEarly(bench, qint64(1));
    bench.downloader->setDontEmitData(true);
    bench.startReceiving();
    bench.reply()->sendData("ab");
    QVERIFY(bench.chunks.isEmpty());
    bench.downloader->setDontEmitData(false);
    QCOMPARE(bench.chunks, QByteArrayList{"ab"});
}

void TestWwwDownloaderHandOut::lateBytesBelowTheSizeGoOutWithTheSecond()
{
    TransferBench bench;
    handOutEarly(bench, qint64(100));
    bench.startReceiving();
    bench.reply()->sendData("late");
    QVERIFY(bench.chunks.isEmpty());
    TransferBench::fire(bench.handOutTimer());
    QCOMPARE(bench.chunks, QByteArrayList{"late"});
}

void TestWwwDownloaderHandOut::blockReachesTheReceiverUncopied()
{
    TransferBench bench(TransferBench::InBlocks{});
    handOutEarly(bench, qint64(1));
    bench.startReceiving();
    const QByteArray first(500'000, 'a');
    const QByteArray last(700, 'b');
    bench.blockReply()->sendBlock(first);
    bench.confirm();
    bench.blockReply()->addBlock(last);
    bench.blockReply()->end();
    QCOMPARE(bench.chunks, (QByteArrayList{first, last}));
    QVERIFY2(bench.chunks.first().constData() == first.constData(), "the very same memory");
    QVERIFY2(bench.chunks.last().constData() == last.constData(), "at the end, too");
}

void TestWwwDownloaderHandOut::blockIsTakenWholeHoweverLittleShows()
{
    TransferBench bench(TransferBench::InBlocks{});
    handOutEarly(bench, qint64(1));
    bench.startReceiving();
    bench.blockReply()->addBlock(QByteArray(500'000, 'a'));
    QCOMPARE(bench.reply()->bytesAvailable(), WwwDownloader::kReadBufferSize);
    bench.blockReply()->sendBlock(QByteArray(10, 'b'));
    QCOMPARE(bench.received().size(), 500'000);
    QCOMPARE(bench.blockReply()->asked(), QList<qint64>{-1});
    bench.confirm();
    QCOMPARE(bench.received().size(), 500'010);
}

void TestWwwDownloaderHandOut::blocksOfASecondAreJoined()
{
    TransferBench bench(TransferBench::InBlocks{});
    bench.startReceiving();
    bench.blockReply()->sendBlock("ab");
    bench.blockReply()->sendBlock("cd");
    QVERIFY(bench.chunks.isEmpty());
    bench.downloader->second++;
    bench.blockReply()->sendBlock("e");
    QCOMPARE(bench.chunks, QByteArrayList{"abcde"});
}

void TestWwwDownloaderHandOut::blocksKeepToTheLimit()
{
    TransferBench bench(TransferBench::InBlocks{});
    handOutEarly(bench, qint64(1));
    bench.downloader->setNetworkUsageSettings({100, 0, 0, false});
    bench.startReceiving();
    bench.blockReply()->sendBlock(QByteArray(60, 'a'));
    bench.confirm();
    bench.blockReply()->sendBlock(QByteArray(60, 'b'));
    QCOMPARE(bench.blockReply()->asked(), (QList<qint64>{100, 40}));
    QCOMPARE(bench.received().size(), 100);
    QCOMPARE(bench.blockReply()->bytesHeld(), 20);
}

void TestWwwDownloaderHandOut::blockBeyondTheEndIsCut()
{
    TransferBench bench(TransferBench::InBlocks{});
    bench.startReceiving(5);
    const QByteArray block("abcdefgh");
    bench.blockReply()->sendBlock(block);
    QCOMPARE(bench.received(), "abcde");
    QVERIFY2(block == "abcdefgh", "who else holds the block finds it as it was");
    QVERIFY(bench.downloader->isFinished());
}

void TestWwwDownloaderHandOut::blocksLeftAtTheEndAreTaken()
{
    TransferBench bench(TransferBench::InBlocks{});
    bench.startReceiving();
    bench.blockReply()->addBlock("ab");
    bench.blockReply()->addBlock("c");
    bench.blockReply()->addBlock("de");
    bench.blockReply()->end();
    QCOMPARE(bench.chunks, QByteArrayList{"abcde"});
    QCOMPARE(bench.downloader->source().sectionLength, 5);
    QCOMPARE(bench.downloader->lastError(), AbstractError());
}

void TestWwwDownloaderHandOut::emptyBlockIsNothing()
{
    TransferBench bench(TransferBench::InBlocks{});
    handOutEarly(bench, qint64(1));
    bench.startReceiving();
    bench.blockReply()->addBlock({});
    bench.blockReply()->sendBlock("a");
    QVERIFY(bench.chunks.isEmpty());
    QVERIFY(bench.downloader->isRunning());
    TransferBench::fire(bench.readTimer());
    QCOMPARE(bench.chunks, QByteArrayList{"a"});
}

void TestWwwDownloaderHandOut::likeNamedMethodOfAnotherKindIsLeftAlone()
{
    StrangeReply *reply = nullptr;
    const QSharedPointer<TestAccessChief> chief(new TestAccessChief([&reply] {
        return new FakeNetworkAccessManager(
            [](FakeReply *) {},
            [&reply](QNetworkAccessManager::Operation operation, const QNetworkRequest &request, const QByteArray &body,
                     QObject *parent) { return reply = new StrangeReply(operation, request, body, parent); });
    }));
    WwwDownloader downloader(chief, nullptr);
    QByteArray received;
    connect(&downloader, &WwwDownloader::gotData, this, [&received](const QByteArray &data) { received += data; });
    downloader.start(TransferBench::source(u"http://a.test/f"_s), QString());
    reply->sendHead(200);
    reply->addData("abc");
    reply->end();
    QCOMPARE(received, "abc");
}

QTEST_GUILESS_MAIN(TestWwwDownloaderHandOut)
#include "tst_wwwdownloader_handout.moc"
