// SPDX-License-Identifier: MIT
#include <host/network/receivebuffer.h>
#include <tests/support/testfiles.h>

#include <QRandomGenerator>
#include <QTest>

class TestReceiveBuffer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void whatWentInComesOut_data();
    void whatWentInComesOut();
    void aFullBlockIsHandedOnWithoutCopying();
    void aBlockThatWasHandedOnIsNotWrittenToAnyMore();
    void aBlockWithLittleInItStaysToBeFilled();
    void noMoreThanWasAskedForIsTaken();
    void readingOnGoesThroughBlocks();
    void whatWasReadFromIsNotHandedOnWhole();
    void anOnlyBlockIsFilledAgainOnceItIsRead();
    void anEmptyBufferGivesNothing();
    void clearingForgetsAll();
};

namespace
{

constexpr qsizetype kBlock = 4096;

QByteArray content(qint64 from, qint64 length)
{
    return TestFiles::content(3, from, length);
}

QByteArray readFrom(ReceiveBuffer &buffer, qint64 maxSize)
{
    QByteArray result(qsizetype(maxSize), '\0');
    result.truncate(qsizetype(buffer.read(result.data(), maxSize)));
    return result;
}

}

void TestReceiveBuffer::whatWentInComesOut_data()
{
    QTest::addColumn<quint32>("seed");
    for (quint32 seed = 1; seed <= 40; ++seed)
        QTest::addRow("seed %u", seed) << seed;
}

void TestReceiveBuffer::whatWentInComesOut()
{
    QFETCH(quint32, seed);
    QRandomGenerator random(seed);
    BlockPool pool;
    ReceiveBuffer buffer(pool);
    qint64 in = 0;
    qint64 out = 0;
    for (int step = 0; step < 2000; ++step) {
        const int what = random.bounded(3);
        const qint64 size = random.bounded(seed % 2 == 0 ? 30 : 9000);
        QByteArray piece;
        if (what == 0) {
            buffer.append(content(in, size), 1 + random.bounded(qsizetype(kBlock)));
            in += size;
        } else {
            piece = what == 1 ? readFrom(buffer, size) : buffer.takeFront(random.bounded(4) == 0 ? -1 : size);
        }
        QVERIFY(piece == content(out, piece.size()));
        out += piece.size();
        QCOMPARE(buffer.size(), in - out);
        QCOMPARE(buffer.isEmpty(), in == out);
    }
    for (QByteArray rest = buffer.takeFront(-1); !rest.isEmpty(); rest = buffer.takeFront(-1)) {
        QVERIFY(rest == content(out, rest.size()));
        out += rest.size();
    }
    QCOMPARE(out, in);
    QVERIFY(in > 0);
}

void TestReceiveBuffer::aFullBlockIsHandedOnWithoutCopying()
{
    BlockPool pool;
    ReceiveBuffer buffer(pool);
    buffer.append(content(0, 2 * kBlock), kBlock);
    const QByteArray block = buffer.takeFront(-1);
    QCOMPARE(block.size(), kBlock);
    QVERIFY(block == content(0, kBlock));
    // Lent, that is: its memory is the pool's.
    QCOMPARE(pool.held(), qint64(kBlock));
    QVERIFY(!block.isDetached());
    QCOMPARE(buffer.size(), qint64(kBlock));
}

void TestReceiveBuffer::aBlockThatWasHandedOnIsNotWrittenToAnyMore()
{
    BlockPool pool;
    ReceiveBuffer buffer(pool);
    buffer.append(content(0, kBlock / 2), kBlock);
    const QByteArray block = buffer.takeFront(-1);
    buffer.append(content(kBlock / 2, 3 * kBlock), kBlock);
    QVERIFY(block == content(0, kBlock / 2));
    QVERIFY(readFrom(buffer, 4 * kBlock) == content(kBlock / 2, 3 * kBlock));
}

void TestReceiveBuffer::aBlockWithLittleInItStaysToBeFilled()
{
    BlockPool pool;
    ReceiveBuffer buffer(pool);
    buffer.append(content(0, 100), kBlock);
    QVERIFY(buffer.takeFront(-1) == content(0, 100));
    QCOMPARE(pool.held(), qint64(0));
}

void TestReceiveBuffer::noMoreThanWasAskedForIsTaken()
{
    BlockPool pool;
    ReceiveBuffer buffer(pool);
    buffer.append(content(0, kBlock), kBlock);
    QVERIFY(buffer.takeFront(kBlock - 1) == content(0, kBlock - 1));
    QVERIFY(buffer.takeFront(0).isEmpty());
    QCOMPARE(buffer.size(), qint64(1));
}

void TestReceiveBuffer::readingOnGoesThroughBlocks()
{
    BlockPool pool;
    ReceiveBuffer buffer(pool);
    buffer.append(content(0, 5 * kBlock), kBlock);
    QVERIFY(readFrom(buffer, 2 * kBlock + 7) == content(0, 2 * kBlock + 7));
    QVERIFY(readFrom(buffer, 9 * kBlock) == content(2 * kBlock + 7, 3 * kBlock - 7));
    QVERIFY(buffer.isEmpty());
}

void TestReceiveBuffer::whatWasReadFromIsNotHandedOnWhole()
{
    BlockPool pool;
    ReceiveBuffer buffer(pool);
    buffer.append(content(0, kBlock), kBlock);
    QVERIFY(readFrom(buffer, 1) == content(0, 1));
    QVERIFY(buffer.takeFront(-1) == content(1, kBlock - 1));
    QCOMPARE(pool.held(), qint64(0));
}

/// A slow link brings a packet at a time; each one must not cost a block.
void TestReceiveBuffer::anOnlyBlockIsFilledAgainOnceItIsRead()
{
    BlockPool pool;
    ReceiveBuffer buffer(pool);
    for (int i = 0; i < 1000; ++i) {
        buffer.append(content(i * 10, 10), kBlock);
        QVERIFY(buffer.takeFront(-1) == content(i * 10, 10));
    }
    QCOMPARE(pool.held(), qint64(0));
}

void TestReceiveBuffer::anEmptyBufferGivesNothing()
{
    BlockPool pool;
    ReceiveBuffer buffer(pool);
    QVERIFY(buffer.takeFront(-1).isEmpty());
    QVERIFY(readFrom(buffer, 10).isEmpty());
    buffer.append({}, kBlock);
    QVERIFY(buffer.isEmpty());
    QVERIFY(buffer.takeFront(-1).isEmpty());
}

void TestReceiveBuffer::clearingForgetsAll()
{
    BlockPool pool;
    ReceiveBuffer buffer(pool);
    buffer.append(content(0, 3 * kBlock), kBlock);
    readFrom(buffer, 5);
    buffer.clear();
    QCOMPARE(buffer.size(), qint64(0));
    buffer.append("next", kBlock);
    QCOMPARE(buffer.takeFront(-1), QByteArray("next"));
}

QTEST_GUILESS_MAIN(TestReceiveBuffer)
#include "tst_receivebuffer.moc"
