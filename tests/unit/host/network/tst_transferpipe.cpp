// SPDX-License-Identifier: MIT
#include <host/network/transferpipe.h>
#include <tests/support/testfiles.h>

#include <QTest>

#include <atomic>
#include <thread>

class TestTransferPipe : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void newsAreToldOnceUntilTheyAreLookedAt();
    void theFirstByteIsToldAtOnce();
    void whoHasLeftIsToldNothing();
    void theHeadComesOnce();
    void theEndStays();
    void beforeTheHeadIsToldLittleIsTaken();
    void aSmallWindowHoldsBack_data();
    void aSmallWindowHoldsBack();
    void aLargeWindowIsAboutWhatIsShownOnly();
    void noMoreThanASecondOfALimitIsReceivedAhead();
    void aFullPipeAsksForMoreOnceHalfOfItIsRead();
    void whatIsInHandWhenItIsFullIsTakenAllTheSame();
    void aPipeThatWasNeverFullAsksForNothing();
    void windowsOfManySizesShareTheirBlocks();
    void readerAndWriterMayRunSideBySide();

private:
    QByteArray read(qint64 maxSize);

    std::shared_ptr<TransferMeans> m_means;
    std::unique_ptr<TransferPipe> m_pipe;
};

namespace
{

constexpr qint64 kPiece = 16384;

QByteArray content(qint64 from, qint64 length)
{
    return TestFiles::content(5, from, length);
}

}

void TestTransferPipe::init()
{
    m_pipe.reset();
    m_means = std::make_shared<TransferMeans>();
    m_pipe = std::make_unique<TransferPipe>(m_means);
}

QByteArray TestTransferPipe::read(qint64 maxSize)
{
    QByteArray result(qsizetype(maxSize), '\0');
    result.truncate(qsizetype(m_pipe->read(result.data(), maxSize)));
    return result;
}

void TestTransferPipe::newsAreToldOnceUntilTheyAreLookedAt()
{
    int news = 0;
    m_pipe->setNews([&news] { ++news; });
    m_pipe->putHead({});
    m_pipe->putBody("a");
    m_pipe->putBody("b");
    QCOMPARE(news, 1);
    m_pipe->acknowledge();
    QCOMPARE(news, 1);
    m_pipe->putBody("c");
    m_pipe->putEnd({});
    QCOMPARE(news, 2);
    QCOMPARE(read(10), QByteArray("abc"));
}

void TestTransferPipe::theFirstByteIsToldAtOnce()
{
    int news = 0;
    m_pipe->setNews([&news] { ++news; });
    m_pipe->putHead({});
    m_pipe->acknowledge();
    m_pipe->putBody("a");
    QCOMPARE(news, 2);
    m_pipe->acknowledge();
    m_pipe->putBody("b");
    QCOMPARE(news, 2);
    m_pipe->tellBody();
    QCOMPARE(news, 3);
}

void TestTransferPipe::whoHasLeftIsToldNothing()
{
    int news = 0;
    m_pipe->setNews([&news] { ++news; });
    m_pipe->setNews(nullptr);
    m_pipe->putBody("a");
    m_pipe->putEnd({});
    QCOMPARE(news, 0);
}

void TestTransferPipe::theHeadComesOnce()
{
    QVERIFY(!m_pipe->takeHead());
    TransferPipe::Head head;
    head.status = 206;
    m_pipe->putHead(head);
    const std::optional<TransferPipe::Head> taken = m_pipe->takeHead();
    QVERIFY(taken);
    QCOMPARE(taken->status, 206);
    QVERIFY(!m_pipe->takeHead());
}

void TestTransferPipe::theEndStays()
{
    QVERIFY(!m_pipe->end());
    m_pipe->putEnd({QNetworkReply::TimeoutError, QStringLiteral("too late"), {}, {}});
    for (int i = 0; i < 2; ++i) {
        const std::optional<TransferPipe::End> end = m_pipe->end();
        QVERIFY(end);
        QCOMPARE(end->error, QNetworkReply::TimeoutError);
        QCOMPARE(end->text, QStringLiteral("too late"));
    }
}

void TestTransferPipe::beforeTheHeadIsToldLittleIsTaken()
{
    QVERIFY(m_pipe->putBody(content(0, kPiece - 1)));
    QVERIFY(!m_pipe->putBody(content(kPiece - 1, 1)));
    m_pipe->headIsTold();
    QVERIFY(m_pipe->wantsMore());
    QVERIFY(m_pipe->putBody(content(kPiece, kPiece)));
}

void TestTransferPipe::aSmallWindowHoldsBack_data()
{
    QTest::addColumn<qint64>("window");
    for (const qint64 window : {1, 30, 4096, 131071})
        QTest::addRow("%lld bytes", window) << window;
}

void TestTransferPipe::aSmallWindowHoldsBack()
{
    QFETCH(qint64, window);
    m_pipe->headIsTold();
    m_pipe->setWindow(window);
    QCOMPARE(m_pipe->putBody(content(0, window - 1)), true);
    QCOMPARE(m_pipe->putBody(content(window - 1, 1)), false);
    QCOMPARE(m_pipe->size(), window);
}

void TestTransferPipe::aLargeWindowIsAboutWhatIsShownOnly()
{
    m_pipe->headIsTold();
    m_pipe->setWindow(131072);
    const qint64 capacity = m_means->budget.capacity();
    QVERIFY(capacity > 131072);
    QVERIFY(m_pipe->putBody(content(0, capacity - 1)));
    QVERIFY(!m_pipe->putBody(content(0, 1)));
}

void TestTransferPipe::noMoreThanASecondOfALimitIsReceivedAhead()
{
    m_pipe->headIsTold();
    m_pipe->setWindow(131072);
    m_pipe->setLimit(200000);
    QVERIFY(m_pipe->putBody(content(0, 199999)));
    QVERIFY(!m_pipe->putBody(content(199999, 1)));
}

void TestTransferPipe::aFullPipeAsksForMoreOnceHalfOfItIsRead()
{
    m_pipe->headIsTold();
    m_pipe->setWindow(4096);
    QVERIFY(!m_pipe->putBody(content(0, 4096)));
    QVERIFY(!m_pipe->wantsMore());
    QCOMPARE(read(2047).size(), 2047);
    QVERIFY(!m_pipe->wantsMore());
    QCOMPARE(read(1).size(), 1);
    QVERIFY(m_pipe->wantsMore());
    QVERIFY(!m_pipe->wantsMore());
}

void TestTransferPipe::whatIsInHandWhenItIsFullIsTakenAllTheSame()
{
    m_pipe->headIsTold();
    m_pipe->setWindow(4096);
    QVERIFY(!m_pipe->putBody(content(0, 4096)));
    QCOMPARE(read(4096).size(), 4096);
    // The writing side has paused by now and waits to be asked, whatever has been read.
    QVERIFY(!m_pipe->putBody(content(4096, 10)));
    QVERIFY(read(100) == content(4096, 10));
    QVERIFY(m_pipe->wantsMore());
}

void TestTransferPipe::aPipeThatWasNeverFullAsksForNothing()
{
    m_pipe->headIsTold();
    QVERIFY(m_pipe->putBody(content(0, 100)));
    read(100);
    QVERIFY(!m_pipe->wantsMore());
}

/// A limit that changes all the time asks for another window every time.
void TestTransferPipe::windowsOfManySizesShareTheirBlocks()
{
    m_pipe->headIsTold();
    qint64 most = 0;
    for (qint64 window = 100000; window < 100000 + 500; ++window) {
        m_pipe->setWindow(window);
        m_pipe->putBody(content(0, window));
        while (!m_pipe->takeBlock(-1).isEmpty()) {}
        m_pipe->wantsMore();
        most = std::max(most, m_means->pool.held());
    }
    QVERIFY2(most <= 1024 * 1024, QByteArray::number(most));
}

void TestTransferPipe::readerAndWriterMayRunSideBySide()
{
    constexpr qint64 kSize = 8 * 1024 * 1024;
    const QByteArray whole = content(0, kSize);
    std::atomic<bool> mayGoOn = true;
    std::atomic<int> news = 0;
    m_pipe->setNews([&news] { ++news; });
    m_pipe->headIsTold();
    m_pipe->setWindow(100000);
    std::thread writer([&] {
        for (qint64 sent = 0; sent < kSize; sent += kPiece) {
            while (!mayGoOn)
                std::this_thread::yield();
            mayGoOn = false;
            if (m_pipe->putBody(QByteArrayView(whole).sliced(sent, kPiece)))
                mayGoOn = true;
        }
        m_pipe->putEnd({});
    });
    QByteArray body;
    qint64 most = 0;
    while (!m_pipe->end() || m_pipe->size() > 0) {
        m_pipe->acknowledge();
        most = std::max(most, m_pipe->size());
        body += body.size() % 3 == 0 ? read(7000) : m_pipe->takeBlock(-1);
        if (m_pipe->wantsMore())
            mayGoOn = true;
    }
    writer.join();
    QVERIFY(body == whole);
    QVERIFY(news > 0);
    QVERIFY2(most < 100000 + kPiece, QByteArray::number(most));
}

QTEST_GUILESS_MAIN(TestTransferPipe)
#include "tst_transferpipe.moc"
