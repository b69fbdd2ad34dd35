// SPDX-License-Identifier: MIT
#include <inet/qt/download/framework/abstractdownload.h>
#include <tests/unit/host/engine/queuebench.h>
#include <tests/unit/host/engine/queuesteps.h>

#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

/// Fails once, with some of its bytes, which its server would send the rest of; then it runs.
const QString kInTheMiddle = u"fail/HttpError/503/10+;run;done"_s;
const QString kUnresumableMiddle = u"fail/HttpError/503/10;run;done"_s;
constexpr int kTransfers = 3;
constexpr qint64 kHourMs = 3600 * 1000;

}

/// A queue whose options name hours of the day, and a clock that the test sets.
class TestDownloadQueueHours : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void whatIsAppendedAtAnotherHourWaitsForIt();
    void theHoursAreToldOnceEachTime();
    void whatRunsAtTheirEndRestsAndGoesOnByItself();
    void aRunThatIsBeingStoppedGoesOnWhereTheHoursCameAgain();
    void whatWouldLoseItsBytesGoesOnSlowly();
    void aRetryThatIsDueAtAnotherHourWaits();
    void anAnswerAtAnotherHourIsKeptForLater();
    void aClockThatIsSetBackCounts();
    void whatRestsMayBePausedTakenAndClosed_data();
    void whatRestsMayBePausedTakenAndClosed();
    void aFinishedFileNeedsNoHour();

    void theRateFollowsTheHour();
    void aRateOfItsOwnComesFirst();
    void theRateOfAllFollowsTheHour();
    void aNewLimitHasNoHours();

private:
    static QueueOptions nightly()
    {
        QueueOptions options = QueueBench::quickly();
        options.schedule = *TimesOfDay::fromText(u"01:00-07:00"_s);
        options.canAsk = true;
        return options;
    }
    static QList<RatesOfDay::Timed> at(const QString &rates) { return RatesOfDay::fromText(rates)->timed; }
    static void setClock(QueueBench &bench, int hour, int minute, int daysLater = 0)
    {
        bench.queue->wall = QDateTime(QDate(2026, 11, 16).addDays(daysLater), QTime(hour, minute));
    }
    static void tickAt(QueueBench &bench, int hour, int minute, int daysLater = 0)
    {
        setClock(bench, hour, minute, daysLater);
        bench.tick();
        QueueBench::settle();
    }
    static qint64 limitOf(const QueueBench &bench, qint64 id)
    {
        const AbstractDownload *const download = bench.running(id);
        return download ? download->networkUsageSettings().downloadLimit : -1;
    }
    /// It runs for the second time, and has its bytes.
    static bool isInTheMiddle(const QueueBench &bench, qint64 id)
    {
        return bench.retries.size() == 1 && bench.running(id) && bench.queue->status(id).done == 10;
    }
};

void TestDownloadQueueHours::whatIsAppendedAtAnotherHourWaitsForIt()
{
    QueueBench bench(nightly());
    const qint64 first = bench.append(u"done"_s);
    const qint64 second = bench.append(u"done"_s);
    QueueBench::settle();
    tickAt(bench, 23, 0);
    QCOMPARE(bench.queue->waitingIds(), (QList<qint64>{first, second}));
    QVERIFY(bench.began.isEmpty() && bench.drained == 0);
    tickAt(bench, 1, 0, 1);
    QVERIFY(bench.drained == 1 || bench.run());
    for (const qint64 id : {first, second})
        QVERIFY(bench.endsOf(id) == 1 && !bench.outcomeOf(id).failure);
}

void TestDownloadQueueHours::theHoursAreToldOnceEachTime()
{
    QueueBench bench(nightly());
    QSignalSpy told(bench.queue.get(), &DownloadQueue::outOfHours);
    tickAt(bench, 12, 0);
    QVERIFY2(told.isEmpty(), "nothing waits");
    bench.append(u"run"_s);
    bench.append(u"run"_s);
    QueueBench::settle();
    tickAt(bench, 13, 0);
    QCOMPARE(told.size(), 1);
    QCOMPARE(told.first().at(0).toDateTime(), QDateTime(QDate(2026, 11, 17), QTime(1, 0)));
    QCOMPARE(told.first().at(1).toLongLong(), 13 * kHourMs);
    tickAt(bench, 1, 0, 1);
    QTRY_COMPARE(bench.queue->activeIds().size(), 2);
    tickAt(bench, 7, 0, 1);
    tickAt(bench, 7, 1, 1);
    QCOMPARE(told.size(), 2);
}

void TestDownloadQueueHours::whatRunsAtTheirEndRestsAndGoesOnByItself()
{
    QueueBench bench(nightly());
    setClock(bench, 6, 59);
    const qint64 id = bench.append(kInTheMiddle);
    QTRY_VERIFY(isInTheMiddle(bench, id));
    tickAt(bench, 7, 0);
    QTRY_COMPARE(bench.queue->state(id), DownloadState::Resting);
    QCOMPARE(bench.queue->status(id).done, 10);
    QCOMPARE(bench.queue->status(id).retryInMs, 18 * kHourMs);
    tickAt(bench, 0, 59, 1);
    QCOMPARE(bench.queue->state(id), DownloadState::Resting);
    tickAt(bench, 1, 0, 1);
    QVERIFY(bench.drained == 1 || bench.run());
    QVERIFY(bench.endsOf(id) == 1 && !bench.outcomeOf(id).failure);
    QCOMPARE(bench.retries.size(), 1);
}

void TestDownloadQueueHours::aRunThatIsBeingStoppedGoesOnWhereTheHoursCameAgain()
{
    QueueBench bench(nightly());
    setClock(bench, 6, 59);
    const qint64 id = bench.append(kInTheMiddle);
    QTRY_VERIFY(isInTheMiddle(bench, id));
    setClock(bench, 7, 0);
    bench.tick();
    setClock(bench, 1, 0, 1);
    QVERIFY(bench.run());
    QVERIFY(bench.endsOf(id) == 1 && !bench.outcomeOf(id).failure);
}

void TestDownloadQueueHours::whatWouldLoseItsBytesGoesOnSlowly()
{
    QueueBench bench(nightly());
    setClock(bench, 6, 59);
    const qint64 id = bench.append(kUnresumableMiddle);
    QTRY_VERIFY(isInTheMiddle(bench, id));
    QCOMPARE(limitOf(bench, id), 0);
    tickAt(bench, 7, 0);
    QCOMPARE(bench.queue->state(id), DownloadState::Running);
    QCOMPARE(limitOf(bench, id), 1024);
    tickAt(bench, 1, 0, 1);
    QCOMPARE(limitOf(bench, id), 0);
}

void TestDownloadQueueHours::aRetryThatIsDueAtAnotherHourWaits()
{
    QueueBench bench(nightly());
    setClock(bench, 6, 59);
    connect(bench.queue.get(), &DownloadQueue::retrying, this, [&bench] { setClock(bench, 7, 0); });
    const qint64 id = bench.append(kBusy + u";done"_s);
    QTRY_COMPARE(bench.queue->status(id).retryInMs, 18 * kHourMs);
    QCOMPARE(bench.queue->state(id), DownloadState::Resting);
    setClock(bench, 2, 0, 1);
    bench.tick();
    QVERIFY(bench.drained == 1 || bench.run());
    QVERIFY(!bench.outcomeOf(id).failure);
}

void TestDownloadQueueHours::anAnswerAtAnotherHourIsKeptForLater()
{
    QueueBench bench(nightly());
    setClock(bench, 6, 59);
    DownloadOptions asking;
    asking.onChanged = int(Trouble::Policy::Ask);
    const qint64 id = bench.append(kChanged + u";done"_s, asking);
    QTRY_COMPARE(bench.queue->state(id), DownloadState::Asking);
    tickAt(bench, 7, 0);
    QCOMPARE(bench.queue->state(id), DownloadState::Asking);
    bench.queue->decide(id, true);
    QCOMPARE(bench.queue->state(id), DownloadState::Resting);
    setClock(bench, 1, 0, 1);
    bench.tick();
    QVERIFY(bench.drained == 1 || bench.run());
    QVERIFY(!bench.outcomeOf(id).failure);
}

void TestDownloadQueueHours::aClockThatIsSetBackCounts()
{
    QueueBench bench(nightly());
    setClock(bench, 1, 30);
    const qint64 id = bench.append(kInTheMiddle);
    QTRY_VERIFY(isInTheMiddle(bench, id));
    tickAt(bench, 0, 30);
    QTRY_COMPARE(bench.queue->status(id).retryInMs, kHourMs / 2);
    setClock(bench, 1, 30);
    bench.tick();
    QVERIFY(bench.drained == 1 || bench.run());
}

void TestDownloadQueueHours::whatRestsMayBePausedTakenAndClosed_data()
{
    QTest::addColumn<int>("how");
    QTest::newRow("paused") << 0;
    QTest::newRow("taken") << 1;
    QTest::newRow("closed") << 2;
}

void TestDownloadQueueHours::whatRestsMayBePausedTakenAndClosed()
{
    QFETCH(int, how);
    QueueBench bench(nightly());
    setClock(bench, 6, 59);
    const qint64 id = bench.append(kInTheMiddle);
    QTRY_VERIFY(isInTheMiddle(bench, id));
    tickAt(bench, 7, 0);
    QTRY_COMPARE(bench.queue->state(id), DownloadState::Resting);
    if (how == 0)
        QVERIFY(bench.queue->pause(id));
    else if (how == 1)
        QVERIFY(bench.queue->take(id));
    else
        bench.queue->close();
    QVERIFY(bench.run());
    QCOMPARE(bench.outcomeOf(id).failure.kind, Failure::Kind::Stopped);
    tickAt(bench, 1, 0, 1);
    QCOMPARE(bench.endsOf(id), 1);
}

/// What is hashed asks nobody.
void TestDownloadQueueHours::aFinishedFileNeedsNoHour()
{
    QueueBench bench(nightly());
    setClock(bench, 6, 59);
    connect(bench.session.get(), &DownloadSession::finished, this, [&bench] { setClock(bench, 7, 0); });
    const qint64 id = bench.append(u"done"_s);
    QVERIFY(bench.run());
    QVERIFY(bench.endsOf(id) == 1 && !bench.outcomeOf(id).failure);
}

void TestDownloadQueueHours::theRateFollowsTheHour()
{
    QueueOptions options = QueueBench::quickly();
    options.rateTimes = at(u"3000@08:00-18:00"_s);
    QueueBench bench(options);
    setClock(bench, 7, 59);
    const qint64 id = bench.append(u"run"_s);
    QTRY_VERIFY(bench.running(id));
    tickAt(bench, 7, 59);
    QCOMPARE(limitOf(bench, id), 0);
    tickAt(bench, 8, 0);
    QCOMPARE(limitOf(bench, id), 3000 / kTransfers);
    tickAt(bench, 18, 0);
    QCOMPARE(limitOf(bench, id), 0);
}

void TestDownloadQueueHours::aRateOfItsOwnComesFirst()
{
    QueueOptions options = QueueBench::quickly();
    options.rateTimes = at(u"3000@08:00-18:00"_s);
    QueueBench bench(options);
    DownloadOptions own;
    own.rateLimit = 900;
    own.rateTimes = at(u"300@12:00-13:00"_s);
    const qint64 id = bench.append(u"run"_s, own);
    QTRY_VERIFY(bench.running(id));
    tickAt(bench, 12, 0);
    QCOMPARE(limitOf(bench, id), 300 / kTransfers);
    tickAt(bench, 13, 0);
    QCOMPARE(limitOf(bench, id), 900 / kTransfers);
    QCOMPARE(bench.session->options(id).rateTimes, own.rateTimes);
}

void TestDownloadQueueHours::theRateOfAllFollowsTheHour()
{
    QueueOptions options = QueueBench::quickly();
    options.speedLimit = 12000;
    options.speedTimes = at(u"6000@08:00-18:00"_s);
    QueueBench bench(options);
    const qint64 first = bench.append(u"run"_s);
    const qint64 second = bench.append(u"run"_s);
    QTRY_VERIFY(bench.running(first) && bench.running(second));
    tickAt(bench, 8, 0);
    QCOMPARE(limitOf(bench, first), 6000 / 2 / kTransfers);
    tickAt(bench, 18, 0);
    QCOMPARE(limitOf(bench, second), 12000 / 2 / kTransfers);
}

void TestDownloadQueueHours::aNewLimitHasNoHours()
{
    QueueOptions options = QueueBench::quickly();
    options.speedTimes = at(u"6000@00:00-24:00"_s);
    QueueBench bench(options);
    DownloadOptions own;
    own.rateTimes = at(u"300@00:00-24:00"_s);
    const qint64 id = bench.append(u"run"_s, own);
    QTRY_VERIFY(bench.running(id));
    bench.tick();
    QCOMPARE(limitOf(bench, id), 300 / kTransfers);
    QVERIFY(bench.queue->setLimitsOf(id, {0, {}, {}}, &bench.error));
    QCOMPARE(limitOf(bench, id), 6000 / kTransfers);
    QVERIFY(bench.session->options(id).rateTimes.isEmpty());
    bench.queue->setSpeedLimit(0);
    QCOMPARE(limitOf(bench, id), 0);
}

QTEST_GUILESS_MAIN(TestDownloadQueueHours)
#include "tst_downloadqueue_hours.moc"
