// SPDX-License-Identifier: MIT
#include <host/network/blockpool.h>

#include <QTest>

#include <deque>
#include <mutex>
#include <thread>
#include <vector>

class TestBlockPool : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aBlockIsEmptyWithTheRoomThatWasAskedFor();
    void aLentBlockIsUsedAgainOnceNobodyHasIt();
    void aBlockThatIsStillReadIsNotUsedAgain();
    void aBlockOfAnotherSizeIsAnotherBlock();
    void whatIsHeldAreTheLentOnesAndTheIdleOnes();
    void shrinkingReturnsWhatNobodyHas();
    void aReaderThatKeepsItsBlocksKeepsNobodyElseFromUsingTheirs();
    void whatAnotherThreadHasReadIsNotOverwrittenBefore();
};

namespace
{

constexpr qsizetype kSize = 4096;

QByteArray lentBlock(BlockPool &pool, const QByteArray &text, qsizetype capacity = kSize)
{
    QByteArray block = pool.take(capacity);
    block.append(text);
    pool.lend(block);
    return block;
}

}

void TestBlockPool::aBlockIsEmptyWithTheRoomThatWasAskedFor()
{
    BlockPool pool;
    for (const qsizetype size : {qsizetype(1), qsizetype(4096), qsizetype(16384), qsizetype(524288)}) {
        const QByteArray block = pool.take(size);
        QVERIFY(block.isEmpty());
        QCOMPARE(block.capacity(), size);
    }
}

void TestBlockPool::aLentBlockIsUsedAgainOnceNobodyHasIt()
{
    BlockPool pool;
    QByteArray block = lentBlock(pool, "text");
    const char *const memory = block.constData();
    block.clear();
    const QByteArray next = pool.take(kSize);
    QVERIFY(next.isEmpty());
    QCOMPARE(static_cast<const void *>(next.constData()), static_cast<const void *>(memory));
    QCOMPARE(next.capacity(), kSize);
}

void TestBlockPool::aBlockThatIsStillReadIsNotUsedAgain()
{
    BlockPool pool;
    const QByteArray read = lentBlock(pool, "text");
    QByteArray next = pool.take(kSize);
    QVERIFY(next.constData() != read.constData());
    next.append("other");
    QCOMPARE(read, QByteArray("text"));
}

void TestBlockPool::aBlockOfAnotherSizeIsAnotherBlock()
{
    BlockPool pool;
    lentBlock(pool, "text");
    QCOMPARE(pool.take(2 * kSize).capacity(), 2 * kSize);
    QCOMPARE(pool.held(), qint64(kSize));
}

void TestBlockPool::whatIsHeldAreTheLentOnesAndTheIdleOnes()
{
    BlockPool pool;
    QCOMPARE(pool.held(), qint64(0));
    QByteArray first = lentBlock(pool, "1");
    const QByteArray second = lentBlock(pool, "2", 3 * kSize);
    QCOMPARE(pool.held(), qint64(4 * kSize));
    first.clear();
    QCOMPARE(pool.held(), qint64(4 * kSize));
    // Whoever fills one is its owner.
    const QByteArray filled = pool.take(kSize);
    QCOMPARE(pool.held(), qint64(3 * kSize));
}

void TestBlockPool::shrinkingReturnsWhatNobodyHas()
{
    BlockPool pool;
    lentBlock(pool, "gone");
    const QByteArray read = lentBlock(pool, "read");
    pool.shrink();
    QCOMPARE(pool.held(), qint64(kSize));
    QCOMPARE(read, QByteArray("read"));
}

void TestBlockPool::aReaderThatKeepsItsBlocksKeepsNobodyElseFromUsingTheirs()
{
    constexpr int kKept = 100;
    constexpr int kTurns = 10000;
    BlockPool pool;
    std::vector<QByteArray> kept;
    for (int i = 0; i < kKept; ++i)
        kept.push_back(lentBlock(pool, "kept"));
    for (int i = 0; i < kTurns; ++i)
        lentBlock(pool, "let go");
    QVERIFY2(pool.held() <= qint64(10 * kKept * kSize), QByteArray::number(pool.held()));
}

/// For the thread sanitizer as well: what is read here, and what is written there for the next one.
void TestBlockPool::whatAnotherThreadHasReadIsNotOverwrittenBefore()
{
    constexpr int kTurns = 2000;
    BlockPool pool;
    std::mutex mutex;
    std::deque<QByteArray> onTheWay;
    bool isOver = false;
    int wrong = 0;
    std::thread reader([&] {
        while (true) {
            QByteArray block;
            {
                const std::lock_guard lock(mutex);
                if (onTheWay.empty() && isOver)
                    return;
                if (onTheWay.empty())
                    continue;
                block = std::move(onTheWay.front());
                onTheWay.pop_front();
            }
            if (block.count(block.at(0)) != block.size())
                ++wrong;
        }
    });
    for (int i = 0; i < kTurns; ++i) {
        QByteArray block = pool.take(kSize);
        block.append(kSize, char('a' + i % 26));
        pool.lend(block);
        const std::lock_guard lock(mutex);
        onTheWay.push_back(std::move(block));
    }
    {
        const std::lock_guard lock(mutex);
        isOver = true;
    }
    reader.join();
    QCOMPARE(wrong, 0);
}

QTEST_GUILESS_MAIN(TestBlockPool)
#include "tst_blockpool.moc"
