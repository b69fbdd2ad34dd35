// SPDX-License-Identifier: MIT
#include <host/network/transferbudget.h>

#include <QTest>

class TestTransferBudget : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void oneTransferGetsTheMost();
    void allTogetherStayWithinTheTotal_data();
    void allTogetherStayWithinTheTotal();
    void nobodyGetsLessThanTheLeast();
    void twoBlocksFitIntoEveryShare();
    void manyTransfersHaveSmallWireBuffers();
    void whoLeavesGivesHisShareBack();
};

namespace
{

void enter(TransferBudget &budget, int count)
{
    for (int i = 0; i < count; ++i)
        budget.enter();
}

}

void TestTransferBudget::oneTransferGetsTheMost()
{
    TransferBudget budget;
    QCOMPARE(budget.capacity(), TransferBudget::kMost);
    budget.enter();
    QCOMPARE(budget.capacity(), TransferBudget::kMost);
}

void TestTransferBudget::allTogetherStayWithinTheTotal_data()
{
    QTest::addColumn<int>("count");
    for (const int count : {1, 2, 4, 5, 8, 16, 17, 100, 512})
        QTest::addRow("%d transfers", count) << count;
}

void TestTransferBudget::allTogetherStayWithinTheTotal()
{
    QFETCH(int, count);
    TransferBudget budget;
    enter(budget, count);
    QCOMPARE(budget.running(), count);
    QVERIFY(count * budget.capacity() <= TransferBudget::kTotal);
}

void TestTransferBudget::nobodyGetsLessThanTheLeast()
{
    TransferBudget budget;
    enter(budget, 5000);
    QCOMPARE(budget.capacity(), TransferBudget::kLeast);
}

void TestTransferBudget::twoBlocksFitIntoEveryShare()
{
    TransferBudget budget;
    for (int i = 0; i < 1000; ++i) {
        QVERIFY2(2 * budget.blockSize() <= budget.capacity(), QByteArray::number(i));
        budget.enter();
    }
}

void TestTransferBudget::manyTransfersHaveSmallWireBuffers()
{
    TransferBudget budget;
    enter(budget, 16);
    const long few = budget.wireBufferSize();
    budget.enter();
    QVERIFY(budget.wireBufferSize() < few);
    // libcurl takes nothing below 1 KiB, and 800 transfers are to cost less than 16 MiB.
    QVERIFY(budget.wireBufferSize() >= 1024 && budget.wireBufferSize() * 800 <= 16 * 1024 * 1024);
}

void TestTransferBudget::whoLeavesGivesHisShareBack()
{
    TransferBudget budget;
    enter(budget, 100);
    for (int i = 0; i < 99; ++i)
        budget.leave();
    QCOMPARE(budget.running(), 1);
    QCOMPARE(budget.capacity(), TransferBudget::kMost);
}

QTEST_GUILESS_MAIN(TestTransferBudget)
#include "tst_transferbudget.moc"
