// SPDX-License-Identifier: MIT
#include <inet/qt/download/framework/qtqobjectstracker.h>

#include <QObject>
#include <QTest>
#include <QThread>

#include <memory>

class TestTracker : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void countsByClass();
    void countsDownWithoutAnEventLoop();
    void noObjectIsIgnored();
    void isSafeFromAnyThread();
};

void TestTracker::countsByClass()
{
    QtQObjectsTracker *tracker = QtQObjectsTracker::instance();
    QCOMPARE(tracker, QtQObjectsTracker::instance());
    const auto one = std::make_unique<QObject>();
    const auto two = std::make_unique<QObject>();
    auto third = std::make_unique<QObject>();
    tracker->registerObject(one.get(), "Writer");
    tracker->registerObject(two.get(), "Writer");
    tracker->registerObject(third.get(), "Transfer");
    QCOMPARE(tracker->livingObjectsCount(), 3);
    QCOMPARE(tracker->livingObjects(), (QHash<QByteArray, int>{{"Writer", 2}, {"Transfer", 1}}));
    third.reset();
    QCOMPARE(tracker->livingObjects(), (QHash<QByteArray, int>{{"Writer", 2}}));
}

void TestTracker::countsDownWithoutAnEventLoop()
{
    auto object = std::make_unique<QObject>();
    QtQObjectsTracker::instance()->registerObject(object.get(), "Writer");
    QThread *thread = QThread::create([&] { object.reset(); });
    object->moveToThread(thread);
    thread->start();
    thread->wait();
    delete thread;
    QCOMPARE(QtQObjectsTracker::instance()->livingObjectsCount(), 0);
}

void TestTracker::noObjectIsIgnored()
{
    QtQObjectsTracker::instance()->registerObject(nullptr, "Writer");
    QCOMPARE(QtQObjectsTracker::instance()->livingObjectsCount(), 0);
}

void TestTracker::isSafeFromAnyThread()
{
    constexpr int kThreads = 4;
    QList<QThread *> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.append(QThread::create([] {
            for (int i = 0; i < 500; ++i) {
                const auto object = std::make_unique<QObject>();
                QtQObjectsTracker::instance()->registerObject(object.get(), i % 2 ? "Odd" : "Even");
            }
        }));
        threads.last()->start();
    }
    for (QThread *thread : threads)
        thread->wait();
    qDeleteAll(threads);
    QCOMPARE(QtQObjectsTracker::instance()->livingObjects(), (QHash<QByteArray, int>()));
}

QTEST_GUILESS_MAIN(TestTracker)
#include "tst_qtqobjectstracker.moc"
