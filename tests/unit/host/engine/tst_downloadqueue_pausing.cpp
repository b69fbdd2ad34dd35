// SPDX-License-Identifier: MIT
#include <host/policy/watchdog.h>
#include <inet/qt/download/framework/abstractdownload.h>
#include <tests/unit/host/engine/queuebench.h>
#include <tests/unit/host/engine/queuesteps.h>

#include <QFile>
#include <QSignalSpy>
#include <QTest>

#include <functional>

using namespace Qt::StringLiterals;

namespace
{

using Place = QueueBench::Place;
using Policy = Trouble::Policy;

const QString kLater = u"fail/HttpError/503/10/Retry-After: 600"_s;
/// What the fake module's downloads have each.
constexpr int kTransfers = 3;

DownloadOptions with(Policy policy)
{
    DownloadOptions options;
    options.onChanged = int(policy);
    return options;
}

DownloadOptions withChecksum()
{
    DownloadOptions options;
    options.checksumAlgorithm = u"md5"_s;
    options.checksumHex = QString(32, u'0');
    return options;
}

}

/// What is done to a queue from outside while it works: pauses, limits, its own end, the watchdog's findings, and calls
/// from inside its own signals.
class TestDownloadQueuePausing : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aPauseEndsEachOnce_data();
    void aPauseEndsEachOnce();
    void whatIsPausedIsUnfinishedAndGoesOnLater();
    void aPausedChecksumIsNotPassedOver();
    void aPausedComparisonWithTheServersDigestIsNotPassedOver();
    void whatEndsByItselfAfterThePauseIsWhatItIs();
    void afterAPauseNothingBeginsAnyMore();
    void aPauseWithNothingToDoIsOverAtOnce();
    void theQueueMayGoAtAnyTime_data();
    void theQueueMayGoAtAnyTime();

    void aSilentRunIsStoppedAndTriedAgain();
    void aRunThatIsAliveIsLeftAlone();
    void aStormOfRequestsIsStoppedAndTriedAgain();
    void aWatchdogThatFindsTheSameAgainAndAgainGivesUp();
    void aPauseAfterAFindingIsAPause();

    void theLimitOfAllIsSharedOut();
    void theLimitOfAllMayBeChangedWhileTheyRun();
    void aDownloadsOwnLimitIsDividedByItsTransfers();
    void aDownloadsOwnLimitMayBeChangedWhileItRuns();
    void moreTransfersGetNoMoreTogether();
    void aRunThatBeginsLeavesRoomForAllThatItMayBecome();

    void appendFromInsideTheSignals();
    void theSameMayBeAppendedAgainFromInsideItsEnd();
    void pauseFromInsideTheSignals_data();
    void pauseFromInsideTheSignals();
    void pauseFromInsideTheBeginningOfARun();
    void decideFromInsideTheQuestion_data();
    void decideFromInsideTheQuestion();

private:
    static qint64 limitOf(const QueueBench &bench, qint64 id);
};

qint64 TestDownloadQueuePausing::limitOf(const QueueBench &bench, qint64 id)
{
    const AbstractDownload *const download = bench.running(id);
    return download ? download->networkUsageSettings().downloadLimit : -1;
}

void TestDownloadQueuePausing::aPauseEndsEachOnce_data()
{
    QTest::addColumn<Place>("place");
    for (const auto &[name, place] : QueueBench::kPlaces)
        QTest::newRow(name) << place;
}

void TestDownloadQueuePausing::aPauseEndsEachOnce()
{
    QFETCH(Place, place);
    QueueBench bench(QueueBench::oneAtATime());
    const qint64 id = bench.bring(place);
    QVERIFY(id > 0);
    const qint64 behind = bench.append(u"done"_s);
    const qsizetype began = bench.began.size();
    const qsizetype retries = bench.retries.size();
    bench.queue->close();
    bench.queue->close();
    QVERIFY(bench.run());
    bench.queue->decide(id, true);
    QueueBench::settle();
    for (const qint64 one : {id, behind}) {
        const bool hasBegun = bench.began.contains(one);
        QCOMPARE(bench.endsOf(one), hasBegun ? 1 : 0);
        if (!hasBegun)
            continue;
        const bool isWhole = one == id && place == Place::Hashing;
        QCOMPARE(bench.outcomeOf(one).failure.kind,
                 isWhole ? Failure::Kind::StoppedBeforeComparing : Failure::Kind::Stopped);
        QCOMPARE(bench.outcomeOf(one).info.id, one);
    }
    QVERIFY(bench.neverBegan > 0);
    QCOMPARE(bench.began.size(), began);
    QCOMPARE(bench.retries.size(), retries);
    QVERIFY(bench.session->isIdle());
    QCOMPARE(bench.drained, 1);
}

void TestDownloadQueuePausing::whatIsPausedIsUnfinishedAndGoesOnLater()
{
    QueueBench bench(QueueBench::oneAtATime());
    const qint64 id = bench.bring(Place::BetweenAttempts);
    bench.queue->close();
    QVERIFY(bench.run());
    QCOMPARE(bench.outcomeOf(id).failure.kind, Failure::Kind::Stopped);
    QVERIFY(!bench.session->record(id)->isFinished());
    QCOMPARE(bench.session->record(id)->bytesDownloaded(false), 10);

    DownloadQueue next(*bench.session, QueueBench::quickly());
    QSignalSpy ended(&next, &DownloadQueue::ended);
    next.append(id);
    QTRY_COMPARE(ended.size(), 1);
    QCOMPARE(ended.first().first().value<DownloadOutcome>().failure.kind, Failure::Kind::None);
}

/// The file is whole, and the same command would make another one of it.
void TestDownloadQueuePausing::aPausedChecksumIsNotPassedOver()
{
    QueueBench bench(QueueBench::oneAtATime());
    const qint64 id = bench.bring(Place::Hashing);
    QVERIFY(id > 0);
    bench.queue->close();
    QVERIFY(bench.run());
    QCOMPARE(bench.outcomeOf(id).failure.kind, Failure::Kind::StoppedBeforeComparing);
    QCOMPARE(bench.outcomeOf(id).failure.subject.id, id);
    const QList<ListEntry> unfinished = bench.session->list().page(ListFilter::Unfinished, 2);
    QCOMPARE(unfinished.size(), 1);
    QCOMPARE(unfinished.first().id, id);
}

void TestDownloadQueuePausing::aPausedComparisonWithTheServersDigestIsNotPassedOver()
{
    QueueBench bench;
    const qint64 id = appendWithDigest(bench, QByteArray(kFileSize, 'x'));
    connect(bench.queue.get(), &DownloadQueue::stateChanged, &bench, [&](qint64, DownloadState, DownloadState to) {
        if (to == DownloadState::Hashing)
            bench.queue->close();
    });
    QVERIFY(bench.run());
    QCOMPARE(bench.outcomeOf(id).failure.kind, Failure::Kind::StoppedBeforeComparing);
    const QList<ListEntry> unfinished = bench.session->list().page(ListFilter::Unfinished, 2);
    QCOMPARE(unfinished.size(), 1);
    QCOMPARE(unfinished.first().checksumResult, ChecksumResult::NotCompared);

    DownloadQueue next(*bench.session, QueueBench::quickly());
    QSignalSpy ended(&next, &DownloadQueue::ended);
    next.append(id);
    QTRY_COMPARE(ended.size(), 1);
    QCOMPARE(ended.first().first().value<DownloadOutcome>().assurance.key(), u"verified"_s);
    QVERIFY(bench.session->list().page(ListFilter::Unfinished, 2).isEmpty());
}

void TestDownloadQueuePausing::whatEndsByItselfAfterThePauseIsWhatItIs()
{
    QueueBench bench;
    const auto finishes = [](const QueueBench &one, qint64 id) {
        AbstractDownloadPersistentInfo record = one.session->record(id).value();
        record.setFinished(true, true);
        Q_EMIT one.session->finished(id, record, {}, {});
    };
    const qint64 plain = bench.append(u"run"_s);
    const qint64 compared = bench.append(u"run"_s, withChecksum());
    QTRY_VERIFY(bench.running(plain) && bench.running(compared));
    // It finishes in the moment in which it is to stop.
    for (const qint64 id : {plain, compared})
        connect(bench.running(id), &AbstractDownload::stopping, &bench, [&, id] { finishes(bench, id); });
    bench.queue->close();
    QVERIFY(bench.run());
    QueueBench::settle();
    QCOMPARE(bench.endsOf(plain), 1);
    QCOMPARE(bench.outcomeOf(plain).failure.kind, Failure::Kind::None);
    QCOMPARE(bench.endsOf(compared), 1);
    QCOMPARE(bench.outcomeOf(compared).failure.kind, Failure::Kind::StoppedBeforeComparing);
}

void TestDownloadQueuePausing::afterAPauseNothingBeginsAnyMore()
{
    QueueBench bench;
    bench.queue->close();
    const qint64 id = bench.add(u"done"_s);
    Failure failure;
    QVERIFY(!bench.queue->append(id, DownloadQueue::Job::Download, &failure));
    QCOMPARE(failure.kind, Failure::Kind::WrongState);
    QVERIFY(bench.run());
    QVERIFY(bench.began.isEmpty());
    QVERIFY(bench.states.isEmpty());
}

void TestDownloadQueuePausing::aPauseWithNothingToDoIsOverAtOnce()
{
    QueueBench bench;
    bench.queue->close();
    QVERIFY(bench.run());
    QueueBench::settle();
    QCOMPARE(bench.drained, 1);
    QVERIFY(bench.outcomes.isEmpty());
}

void TestDownloadQueuePausing::theQueueMayGoAtAnyTime_data()
{
    aPauseEndsEachOnce_data();
}

void TestDownloadQueuePausing::theQueueMayGoAtAnyTime()
{
    QFETCH(Place, place);
    QueueBench bench(QueueBench::oneAtATime());
    const qint64 id = bench.bring(place);
    QVERIFY(id > 0);
    bench.append(u"done"_s);
    bench.queue.reset();
    QueueBench::settle();
    QVERIFY(bench.outcomes.isEmpty());
    QCOMPARE(bench.running(id) != nullptr, place == Place::Running);
    QSignalSpy closed(bench.session.get(), &DownloadSession::closed);
    bench.session->close();
    QTRY_COMPARE(closed.size(), 1);
}

void TestDownloadQueuePausing::aSilentRunIsStoppedAndTriedAgain()
{
    QueueBench bench;
    const qint64 id = bench.append(u"silent;done"_s);
    QTRY_VERIFY(bench.running(id));
    bench.tick();
    bench.queue->now += Watchdog::kSilenceMs - 1;
    bench.tick();
    QVERIFY(bench.running(id));
    bench.queue->now += 1;
    bench.tick();
    QVERIFY(!bench.running(id));
    QVERIFY(bench.run());
    QCOMPARE(bench.retries.size(), 1);
    QCOMPARE(bench.retries.first().failure.kind, Failure::Kind::NothingCame);
    QVERIFY2(bench.retries.first().failure.plain().contains(u"silent-too-long"_s),
             qPrintable(bench.retries.first().failure.plain()));
    QCOMPARE(bench.outcomeOf(id).failure.kind, Failure::Kind::None);
    QCOMPARE(bench.outcomeOf(id).attempts, 2);
}

void TestDownloadQueuePausing::aRunThatIsAliveIsLeftAlone()
{
    QueueBench bench;
    const qint64 connected = bench.append(u"run"_s);
    const qint64 working = bench.append(u"silent"_s);
    QTRY_VERIFY(bench.running(connected) && bench.running(working));
    Q_EMIT bench.running(working)->performingFilesOperations(true);
    for (int i = 0; i < 3; ++i) {
        bench.tick();
        bench.queue->now += Watchdog::kSilenceMs;
    }
    QVERIFY(bench.running(connected) && bench.running(working));
    Q_EMIT bench.running(working)->performingFilesOperations(false);
    bench.tick();
    QVERIFY(bench.running(connected));
    QVERIFY(!bench.running(working));
}

void TestDownloadQueuePausing::aStormOfRequestsIsStoppedAndTriedAgain()
{
    QueueBench bench;
    const qint64 id = bench.append(u"run;done"_s);
    QTRY_VERIFY(bench.running(id));
    bench.tick();
    for (int i = 0; i < Watchdog::kStormRequests; ++i)
        Q_EMIT bench.running(id)->sendingRequestHeaders(1, {});
    bench.tick();
    QVERIFY(!bench.running(id));
    QVERIFY(bench.run());
    QCOMPARE(bench.retries.size(), 1);
    QCOMPARE(bench.retries.first().failure.kind, Failure::Kind::NothingCame);
    QVERIFY2(bench.retries.first().failure.plain().contains(u"ends-after-few-bytes"_s),
             qPrintable(bench.retries.first().failure.plain()));
    QCOMPARE(bench.outcomeOf(id).failure.kind, Failure::Kind::None);
}

void TestDownloadQueuePausing::aWatchdogThatFindsTheSameAgainAndAgainGivesUp()
{
    QueueOptions options = QueueBench::quickly();
    options.mostTries = 2;
    QueueBench bench(options);
    const qint64 id = bench.append(u"silent"_s);
    for (int i = 0; i < 2; ++i) {
        QTRY_VERIFY(bench.running(id));
        bench.tick();
        bench.queue->now += Watchdog::kSilenceMs;
        bench.tick();
    }
    QVERIFY(bench.run());
    QCOMPARE(bench.outcomeOf(id).failure.kind, Failure::Kind::NothingCame);
    QCOMPARE(bench.outcomeOf(id).attempts, 2);
    QCOMPARE(bench.outcomeOf(id).failure.subject.id, id);
}

void TestDownloadQueuePausing::aPauseAfterAFindingIsAPause()
{
    QueueBench bench;
    const qint64 id = bench.append(u"silent;done"_s);
    QTRY_VERIFY(bench.running(id));
    bench.tick();
    bench.queue->now += Watchdog::kSilenceMs;
    bench.tick();
    bench.queue->close();
    QVERIFY(bench.run());
    QCOMPARE(bench.endsOf(id), 1);
    QCOMPARE(bench.outcomeOf(id).failure.kind, Failure::Kind::Stopped);
    QVERIFY(bench.retries.isEmpty());
}

void TestDownloadQueuePausing::theLimitOfAllIsSharedOut()
{
    QueueOptions options = QueueBench::quickly();
    options.speedLimit = 6000;
    QueueBench bench(options);
    const qint64 first = bench.append(u"run"_s);
    const qint64 second = bench.append(u"run"_s);
    QTRY_VERIFY(bench.running(first) && bench.running(second));
    bench.tick();
    QCOMPARE(limitOf(bench, first), 6000 / 2 / kTransfers);
    QCOMPARE(limitOf(bench, second), 6000 / 2 / kTransfers);
    bench.session->stop(first);
    QTRY_COMPARE(bench.queue->activeIds(), QList<qint64>{second});
    bench.tick();
    QCOMPARE(limitOf(bench, second), 6000 / kTransfers);
}

void TestDownloadQueuePausing::theLimitOfAllMayBeChangedWhileTheyRun()
{
    QueueBench bench;
    const qint64 first = bench.append(u"run"_s);
    const qint64 second = bench.append(u"run"_s);
    QTRY_VERIFY(bench.running(first) && bench.running(second));
    QCOMPARE(limitOf(bench, first), 0);
    for (const qint64 limit : {12000, 600, 0}) {
        bench.queue->setSpeedLimit(limit);
        QCOMPARE(limitOf(bench, first), limit / 2 / kTransfers);
        QCOMPARE(limitOf(bench, second), limit / 2 / kTransfers);
    }
}

void TestDownloadQueuePausing::aDownloadsOwnLimitIsDividedByItsTransfers()
{
    QueueOptions options = QueueBench::quickly();
    options.speedLimit = 9000;
    QueueBench bench(options);
    DownloadOptions slow;
    slow.rateLimit = 900;
    const qint64 first = bench.append(u"run"_s, slow);
    const qint64 second = bench.append(u"run"_s);
    QTRY_VERIFY(bench.running(first) && bench.running(second));
    bench.tick();
    QCOMPARE(limitOf(bench, first), 900 / kTransfers);
    QCOMPARE(limitOf(bench, second), (9000 - 900) / kTransfers);
    bench.queue->setSpeedLimit(0);
    QCOMPARE(limitOf(bench, first), 900 / kTransfers);
    QCOMPARE(limitOf(bench, second), 0);
}

void TestDownloadQueuePausing::aDownloadsOwnLimitMayBeChangedWhileItRuns()
{
    QueueBench bench;
    const qint64 id = bench.append(u"run"_s);
    QTRY_VERIFY(bench.running(id));
    QVERIFY(bench.queue->setLimitsOf(id, {3000, {}, {}}, &bench.error));
    QCOMPARE(limitOf(bench, id), 3000 / kTransfers);
    QCOMPARE(bench.session->options(id).rateLimit, 3000);
    QVERIFY(bench.queue->setLimitsOf(id, {0, {}, {}}, &bench.error));
    QCOMPARE(limitOf(bench, id), 0);
}

/// A run begins with a transfer or two; a limit that waited for the next tick would let each of the rest have it whole.
void TestDownloadQueuePausing::moreTransfersGetNoMoreTogether()
{
    QueueBench bench;
    const qint64 id = bench.append(u"run"_s);
    QTRY_VERIFY(bench.running(id));
    bench.queue->setSpeedLimit(3000);
    NetworkUsageSettings old = bench.running(id)->networkUsageSettings();
    old.downloadLimit = 3000;
    bench.running(id)->setNetworkUsageSettings(old);
    Q_EMIT bench.running(id)->sendingRequestHeaders(1, {});
    QueueBench::settle();
    QCOMPARE(limitOf(bench, id), 3000 / kTransfers);
}

void TestDownloadQueuePausing::aRunThatBeginsLeavesRoomForAllThatItMayBecome()
{
    QueueOptions queueOptions = QueueBench::quickly();
    queueOptions.speedLimit = 16000;
    QueueBench bench(queueOptions);
    DownloadOptions options;
    options.connections = 8;
    const qint64 id = bench.append(u"run"_s, options);
    QTRY_VERIFY(bench.running(id));
    QTRY_COMPARE(limitOf(bench, id), 16000 / 8);
    bench.tick();
    QCOMPARE(limitOf(bench, id), 16000 / kTransfers);
}

void TestDownloadQueuePausing::appendFromInsideTheSignals()
{
    QueueBench bench;
    const qint64 id = bench.add(kBusy + u";done"_s);
    const qint64 fromBegan = bench.add(u"done"_s);
    const qint64 fromRetrying = bench.add(u"done"_s);
    const qint64 fromEnded = bench.add(u"done"_s);
    const qint64 fromDrained = bench.add(u"done"_s);
    DownloadQueue *const queue = bench.queue.get();
    connect(
        queue, &DownloadQueue::began, &bench,
        [&](qint64 one) {
            queue->append(one);
            queue->append(fromBegan);
        },
        Qt::SingleShotConnection);
    connect(
        queue, &DownloadQueue::retrying, &bench, [&] { queue->append(fromRetrying); }, Qt::SingleShotConnection);
    connect(
        queue, &DownloadQueue::ended, &bench, [&] { queue->append(fromEnded); }, Qt::SingleShotConnection);
    connect(
        queue, &DownloadQueue::drained, &bench, [&] { queue->append(fromDrained); }, Qt::SingleShotConnection);
    queue->append(id);
    QTRY_COMPARE(bench.drained, 2);
    QCOMPARE(bench.outcomes.size(), 5);
    for (const qint64 one : {id, fromBegan, fromRetrying, fromEnded, fromDrained})
        QCOMPARE(bench.endsOf(one), 1);
}

void TestDownloadQueuePausing::theSameMayBeAppendedAgainFromInsideItsEnd()
{
    QueueBench bench;
    connect(
        bench.queue.get(), &DownloadQueue::ended, &bench,
        [&](const DownloadOutcome &outcome) { bench.queue->append(outcome.id); }, Qt::SingleShotConnection);
    const qint64 id = bench.append(u"fail/HttpError/404;done"_s);
    QVERIFY(bench.run());
    QCOMPARE(bench.endsOf(id), 2);
    QCOMPARE(bench.outcomes.at(0).failure.kind, Failure::Kind::NotFound);
    QCOMPARE(bench.outcomes.at(1).failure.kind, Failure::Kind::None);
    QCOMPARE(bench.drained, 1);
}

void TestDownloadQueuePausing::pauseFromInsideTheSignals_data()
{
    using Connect = std::function<void(DownloadQueue *)>;
    QTest::addColumn<Connect>("connectIt");
    const auto row = [](const char *name, auto signal) {
        QTest::newRow(name) << Connect(
            [signal](DownloadQueue *queue) { connect(queue, signal, queue, [queue] { queue->close(); }); });
    };
    row("began", &DownloadQueue::began);
    row("retrying", &DownloadQueue::retrying);
    row("decisionRequired", &DownloadQueue::decisionRequired);
    row("ended", &DownloadQueue::ended);
    row("drained", &DownloadQueue::drained);
}

void TestDownloadQueuePausing::pauseFromInsideTheSignals()
{
    QFETCH(std::function<void(DownloadQueue *)>, connectIt);
    QueueBench bench(QueueBench::oneAtATime());
    const QString name = QString::fromLatin1(QTest::currentDataTag());
    connectIt(bench.queue.get());
    QList<qint64> ids{bench.append(u"%1;%2;fail/HttpError/404"_s.arg(kBusy, kChanged), with(Policy::Ask))};
    ids.append(77);
    bench.queue->append(77);
    ids.append(bench.append(u"done"_s));
    if (name == "ended"_L1 || name == "drained"_L1)
        connect(bench.queue.get(), &DownloadQueue::decisionRequired, &bench,
                [&](qint64 id) { bench.queue->decide(id, false); });
    QTRY_VERIFY(bench.outcomes.size() + bench.neverBegan == 3 && bench.drained > 0);
    QueueBench::settle();
    QVERIFY(bench.queue->isIdle());
    for (const qint64 id : std::as_const(ids))
        QCOMPARE(bench.endsOf(id), bench.began.contains(id) ? 1 : 0);
    QCOMPARE(bench.outcomes.size() + bench.neverBegan, 3);
    const bool isLate = name == "drained"_L1;
    QCOMPARE(bench.endsOf(ids.last()), isLate ? 1 : 0);
}

/// What the session tells before it has the run, from inside start().
void TestDownloadQueuePausing::pauseFromInsideTheBeginningOfARun()
{
    QueueBench bench;
    const qint64 id = bench.append(u"%1/200;run"_s.arg(kBusy));
    connect(bench.queue.get(), &DownloadQueue::retrying, &bench,
            [&] { QFile::remove(bench.path(u"%1.bin.part"_s.arg(id))); });
    int warnings = 0;
    connect(bench.session.get(), &DownloadSession::warned, &bench, [&] {
        ++warnings;
        bench.queue->close();
    });
    QVERIFY(bench.run());
    QueueBench::settle();
    QCOMPARE(warnings, 1);
    QCOMPARE(bench.endsOf(id), 1);
    QCOMPARE(bench.outcomeOf(id).failure.kind, Failure::Kind::Stopped);
    QVERIFY(bench.session->isIdle());
}

void TestDownloadQueuePausing::decideFromInsideTheQuestion_data()
{
    QTest::addColumn<bool>("answer");
    QTest::newRow("yes") << true;
    QTest::newRow("no") << false;
}

void TestDownloadQueuePausing::decideFromInsideTheQuestion()
{
    QFETCH(bool, answer);
    QueueBench bench(QueueBench::oneAtATime());
    connect(bench.queue.get(), &DownloadQueue::decisionRequired, &bench,
            [&](qint64 id) { bench.queue->decide(id, answer); });
    const qint64 id = bench.append(kChanged + u";done"_s, with(Policy::Ask));
    QVERIFY(bench.run());
    QCOMPARE(bench.endsOf(id), 1);
    QCOMPARE(bench.outcomeOf(id).failure.kind, answer ? Failure::Kind::None : Failure::Kind::ResourceChanged);
}

QTEST_GUILESS_MAIN(TestDownloadQueuePausing)
#include "tst_downloadqueue_pausing.moc"
