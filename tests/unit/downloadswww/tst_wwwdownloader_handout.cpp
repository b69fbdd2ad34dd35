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

QTEST_GUILESS_MAIN(TestWwwDownloaderHandOut)
#include "tst_wwwdownloader_handout.moc"
