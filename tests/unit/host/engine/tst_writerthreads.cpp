// SPDX-License-Identifier: MIT
#include <host/engine/writerthreads.h>

#include <QSemaphore>
#include <QSignalSpy>
#include <QTest>

#include <atomic>
#include <limits>

using namespace Qt::StringLiterals;

namespace
{

/// Lives in a writers' thread, until that ends.
QObject *objectIn(QThread *thread)
{
    auto *const object = new QObject;
    object->moveToThread(thread);
    QObject::connect(thread, &QThread::finished, object, &QObject::deleteLater);
    return object;
}

}

class TestWriterThreads : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aDownloadStaysInItsThread();
    void aDiskThatIsSlowWithOneFileHoldsUpNoOther();
    void itsEndIsToldOnceAndBehindAllThatWasLeftToDo();
    void itsEndIsToldWhereNothingWasWritten();
};

void TestWriterThreads::aDownloadStaysInItsThread()
{
    WriterThreads writers;
    writers.begin();
    for (const qint64 id : {qint64(-1), qint64(7), std::numeric_limits<qint64>::max()}) {
        QThread *const thread = writers.threadFor(id);
        QVERIFY(thread && thread->isRunning());
        QCOMPARE(writers.threadFor(id), thread);
    }
}

void TestWriterThreads::aDiskThatIsSlowWithOneFileHoldsUpNoOther()
{
    WriterThreads writers;
    writers.begin();
    QSemaphore disk;
    QSemaphore written;
    QMetaObject::invokeMethod(
        objectIn(writers.threadFor(1)), [&disk] { disk.acquire(); }, Qt::QueuedConnection);
    QMetaObject::invokeMethod(
        objectIn(writers.threadFor(2)), [&written] { written.release(); }, Qt::QueuedConnection);
    written.acquire();
    disk.release();
}

void TestWriterThreads::itsEndIsToldOnceAndBehindAllThatWasLeftToDo()
{
    WriterThreads writers;
    writers.begin();
    QSignalSpy ended(&writers, &WriterThreads::ended);
    std::atomic<int> done = 0;
    for (qint64 id = 0; id < 3 * WriterThreads::kThreads; ++id)
        QMetaObject::invokeMethod(
            objectIn(writers.threadFor(id)), [&done] { ++done; }, Qt::QueuedConnection);
    int doneByThen = 0;
    connect(&writers, &WriterThreads::ended, this, [&] { doneByThen = done; });
    writers.end();
    QCOMPARE(ended.size(), 0);
    QVERIFY(ended.wait());
    QCOMPARE(doneByThen, 3 * WriterThreads::kThreads);
    QCoreApplication::processEvents();
    QCOMPARE(ended.size(), 1);
}

void TestWriterThreads::itsEndIsToldWhereNothingWasWritten()
{
    WriterThreads writers;
    writers.begin();
    QSignalSpy ended(&writers, &WriterThreads::ended);
    writers.end();
    QCOMPARE(ended.size(), 0);
    QVERIFY(ended.wait());
}

QTEST_GUILESS_MAIN(TestWriterThreads)
#include "tst_writerthreads.moc"
