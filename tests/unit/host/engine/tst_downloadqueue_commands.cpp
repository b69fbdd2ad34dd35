// SPDX-License-Identifier: MIT
#include <host/storage/storethread.h>
#include <inet/qt/download/framework/abstractdownload.h>
#include <tests/unit/host/engine/queuebench.h>

#include <QTcpServer>
#include <QTest>
#include <QTimer>

#include <algorithm>
#include <functional>

using namespace Qt::StringLiterals;

namespace
{

using Place = QueueBench::Place;
using State = DownloadState;
using States = QList<DownloadState>;

/// A download has its rest timed.
bool isAnyTimed(const QueueBench &bench)
{
    const QList<QTimer *> timers = bench.queue->findChildren<QTimer *>();
    return std::any_of(timers.cbegin(), timers.cend(),
                       [](const QTimer *one) { return one->isSingleShot() && one->isActive(); });
}

}

/// What is done to single downloads of a queue at any time.
class TestDownloadQueueCommands : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void whatIsPausedGoesOnWhenItIsResumed_data();
    void whatIsPausedGoesOnWhenItIsResumed();
    void whatIsTakenIsTheQueuesNoLonger_data();
    void whatIsTakenIsTheQueuesNoLonger();
    void aPausedDownloadLeavesItsPlaceToAnother();
    void aPausedDownloadIsAnybodysAgain();
    void whatIsPausedWhileItWaitsIsAnybodysAgain();
    void aPausedHashIsComparedAfterwards();
    void aPausedDownloadMayBeTaken();
    void whatIsBeingStoppedMayBeTaken();
    void whatFinishesWhileItIsPausedIsDone();
    void whatIsCompleteWhenItIsStoppedIsDone();
    void aRestThatWasCutShortDoesNotEndLater();
    void aWarningComesInItsPlace();
    void placesInTheListDecideWhoIsNext();
    void allArePausedAndResumedInTheirOrder();
    void moreAtOnceBeginAtOnce();
    void fewerAtOnceLeaveThoseThatRunAlone();
    void whatMakesNoSenseIsRefusedAndChangesNothing_data();
    void whatMakesNoSenseIsRefusedAndChangesNothing();
    void headersThatAreRefusedAreNotSentEither();
    void commandsFromInsideTheSignals();
    void thousandsThatWaitAreGivenUpAtOnce();
};

void TestDownloadQueueCommands::whatIsPausedGoesOnWhenItIsResumed_data()
{
    QTest::addColumn<Place>("place");
    for (const auto &[name, place] : QueueBench::kPlaces)
        QTest::newRow(name) << place;
}

void TestDownloadQueueCommands::whatIsPausedGoesOnWhenItIsResumed()
{
    QFETCH(Place, place);
    QueueBench bench(QueueBench::oneAtATime());
    const qint64 id = bench.bring(place);
    QVERIFY(id > 0);
    const bool hadBegun = bench.began.contains(id);
    QVERIFY(bench.queue->pause(id));
    QTRY_COMPARE(bench.queue->state(id), State::Paused);
    QueueBench::settle();
    QCOMPARE(bench.endsOf(id), hadBegun ? 1 : 0);
    QVERIFY(!bench.queue->activeIds().contains(id) && !bench.queue->waitingIds().contains(id));
    bench.outcomes.clear();
    QVERIFY(bench.queue->resume(id));
    if (place == Place::Waiting)
        bench.queue->pause(bench.queue->activeIds().constFirst());
    QVERIFY(bench.run());
    QCOMPARE(bench.states.value(id).last(), place == Place::Hashing ? State::Failed : State::Done);
    QVERIFY(bench.endsOf(id) == 1);
    QCOMPARE(bench.queue->state(id), std::nullopt);
}

void TestDownloadQueueCommands::whatIsTakenIsTheQueuesNoLonger_data()
{
    whatIsPausedGoesOnWhenItIsResumed_data();
}

void TestDownloadQueueCommands::whatIsTakenIsTheQueuesNoLonger()
{
    QFETCH(Place, place);
    QueueBench bench(QueueBench::oneAtATime());
    const qint64 id = bench.bring(place);
    QVERIFY(id > 0);
    QVERIFY(bench.queue->take(id));
    QTRY_COMPARE(bench.queue->state(id), std::nullopt);
    QueueBench::settle();
    const States states = bench.states.value(id);
    QCOMPARE(states.last(), State::Removed);
    QCOMPARE(states.at(states.size() - 2), State::Paused);
    Failure failure;
    QVERIFY(!bench.queue->take(id, &failure));
    QCOMPARE(failure.kind, Failure::Kind::WrongState);
    QVERIFY2(bench.session->record(id), "the list has it still");
}

void TestDownloadQueueCommands::aPausedDownloadLeavesItsPlaceToAnother()
{
    QueueBench bench(QueueBench::oneAtATime());
    const qint64 first = bench.bring(Place::Running);
    const qint64 second = bench.append(u"run"_s);
    bench.queue->pause(first);
    QTRY_VERIFY(bench.running(second));
    QVERIFY(bench.queue->resume(first));
    QueueBench::settle();
    QCOMPARE(bench.queue->state(first), State::Waiting);
}

void TestDownloadQueueCommands::aPausedDownloadIsAnybodysAgain()
{
    QueueBench bench;
    const qint64 id = bench.bring(Place::Running);
    QCOMPARE(bench.session->list().page(ListFilter::Unfinished, 1).constFirst().owner.pid,
             QCoreApplication::applicationPid());
    bench.queue->pause(id);
    QTRY_COMPARE(bench.queue->state(id), State::Paused);
    QCOMPARE(bench.session->list().page(ListFilter::Unfinished, 1).constFirst().owner.pid, 0);
}

void TestDownloadQueueCommands::whatIsPausedWhileItWaitsIsAnybodysAgain()
{
    QueueBench bench(QueueBench::oneAtATime());
    const qint64 first = bench.bring(Place::Waiting);
    const qint64 second = bench.append(u"done"_s);
    const auto ownersOf = [&bench] {
        QHash<qint64, qint64> owners;
        for (const ListEntry &entry : bench.session->list().page(ListFilter::Unfinished, 9))
            owners.insert(entry.id, entry.owner.pid);
        return owners;
    };
    const qint64 mine = QCoreApplication::applicationPid();
    QCOMPARE(ownersOf().value(first), mine);
    QVERIFY(bench.queue->pause(first));
    QCOMPARE(ownersOf().value(first), 0);
    QCOMPARE(ownersOf().value(second), mine);
    bench.queue->pauseAll();
    QCOMPARE(ownersOf().value(second), 0);
    bench.queue->resumeAll();
    QVERIFY(bench.run());
    QCOMPARE(bench.outcomeOf(first).failure.kind, Failure::Kind::None);
    QCOMPARE(bench.outcomeOf(second).failure.kind, Failure::Kind::None);
}

void TestDownloadQueueCommands::aPausedHashIsComparedAfterwards()
{
    QueueBench bench;
    const qint64 id = bench.bring(Place::Hashing);
    bench.queue->pause(id);
    QTRY_COMPARE(bench.queue->state(id), State::Paused);
    QCOMPARE(bench.outcomeOf(id).failure.kind, Failure::Kind::StoppedBeforeComparing);
    bench.outcomes.clear();
    bench.queue->resume(id);
    QVERIFY(bench.run());
    QCOMPARE(bench.outcomeOf(id).failure.kind, Failure::Kind::ChecksumDiffers);
    QCOMPARE(bench.endsOf(id), 1);
}

void TestDownloadQueueCommands::aPausedDownloadMayBeTaken()
{
    QueueBench bench;
    const qint64 id = bench.bring(Place::Running);
    bench.queue->pause(id);
    QTRY_COMPARE(bench.queue->state(id), State::Paused);
    QVERIFY(bench.queue->take(id));
    QCOMPARE(bench.queue->state(id), std::nullopt);
    QCOMPARE(bench.states.value(id).last(), State::Removed);
    QCOMPARE(bench.endsOf(id), 1);
}

void TestDownloadQueueCommands::whatIsBeingStoppedMayBeTaken()
{
    QueueBench bench;
    const qint64 id = bench.bring(Place::Running);
    QVERIFY(bench.queue->pause(id));
    QVERIFY(!bench.queue->pause(id));
    QVERIFY(bench.queue->take(id));
    QTRY_COMPARE(bench.queue->state(id), std::nullopt);
    QCOMPARE(bench.states.value(id).last(), State::Removed);
    QCOMPARE(bench.endsOf(id), 1);
}

void TestDownloadQueueCommands::whatFinishesWhileItIsPausedIsDone()
{
    QueueBench bench;
    const qint64 id = bench.bring(Place::Running);
    // It finishes in the moment in which it is to stop.
    connect(bench.running(id), &AbstractDownload::stopping, &bench, [&] {
        AbstractDownloadPersistentInfo record = bench.session->record(id).value();
        record.setFinished(true, true);
        Q_EMIT bench.session->finished(id, record, {}, {});
    });
    bench.queue->pause(id);
    QVERIFY(bench.run());
    QCOMPARE(bench.states.value(id).last(), State::Done);
    QCOMPARE(bench.queue->state(id), std::nullopt);
}

/// The stop came as the last byte did; nothing is left to be done, or to be compared.
void TestDownloadQueueCommands::whatIsCompleteWhenItIsStoppedIsDone()
{
    QueueBench bench;
    const qint64 id = bench.append(u"run"_s);
    QTRY_VERIFY(bench.running(id));
    AbstractDownloadPersistentInfo complete = bench.session->record(id).value();
    complete.setFinished(true, true);
    QVERIFY(bench.running(id)->setInfo(complete));
    QVERIFY(bench.queue->pause(id));
    QTRY_COMPARE(bench.outcomes.size(), 1);
    QCOMPARE(bench.outcomeOf(id).failure.kind, Failure::Kind::None);
    QCOMPARE(bench.states.value(id), (States{State::Waiting, State::Running, State::Done}));
}

void TestDownloadQueueCommands::aRestThatWasCutShortDoesNotEndLater()
{
    // It never answers, so that there is a search for a checksum for as long as it takes.
    QTcpServer silent;
    QVERIFY(silent.listen(QHostAddress::LocalHost));
    QueueOptions unhurried = QueueBench::quickly();
    unhurried.retryWaitMs = 60'000;
    QueueBench bench(unhurried);
    DownloadOptions options;
    options.checksumSource = u"http://127.0.0.1:%1/sums"_s.arg(silent.serverPort());
    const qint64 id = bench.append(u"fail/HttpError/503/10;done"_s, options);
    QTRY_COMPARE(bench.queue->state(id), State::Resting);
    QVERIFY2(bench.queue->finishNow(id, &bench.error), qPrintable(bench.error.plain()));
    QTRY_COMPARE(bench.queue->state(id), State::Hashing);
    QTRY_VERIFY(!isAnyTimed(bench));
    QueueBench::settle();
    QCOMPARE(bench.queue->state(id), State::Hashing);
    QCOMPARE(bench.endsOf(id), 0);
}

/// What the session says from inside the beginning of a run is heard when the run is.
void TestDownloadQueueCommands::aWarningComesInItsPlace()
{
    QueueBench bench;
    QStringList told;
    connect(bench.queue.get(), &DownloadQueue::retrying, &bench,
            [&](qint64 id) { QFile::remove(bench.path(u"%1.bin.part"_s.arg(id))); });
    connect(bench.queue.get(), &DownloadQueue::stateChanged, &bench,
            [&](qint64, State, State to) { told.append(downloadStates().nameOf(to)); });
    connect(bench.queue.get(), &DownloadQueue::warned, &bench, [&] { told.append(u"warned"_s); });
    bench.append(u"fail/HttpError/503/200;done"_s);
    QVERIFY(bench.run());
    QCOMPARE(told, QString(u"Waiting Running Resting Running warned Done"_s).split(u' '));
}

void TestDownloadQueueCommands::placesInTheListDecideWhoIsNext()
{
    QueueBench bench(QueueBench::oneAtATime());
    const qint64 first = bench.bring(Place::Running);
    QList<qint64> ids;
    for (int i = 0; i < 4; ++i)
        ids.append(bench.append(u"done"_s));
    bench.queue->setPlaces({{10, ids.at(3)}, {11, ids.at(1)}, {50, 99}, {7, first}});
    bench.queue->setPlaces({{12, ids.at(0)}});
    bench.queue->setPlaces({{-5, ids.at(2)}});
    const QList<qint64> order{ids.at(2), ids.at(3), ids.at(1), ids.at(0)};
    QCOMPARE(bench.queue->waitingIds(), order);
    bench.queue->pause(first);
    QVERIFY(bench.run());
    QCOMPARE(bench.began, QList<qint64>{first} + order);
}

void TestDownloadQueueCommands::allArePausedAndResumedInTheirOrder()
{
    QueueBench bench(QueueBench::oneAtATime());
    const qint64 first = bench.bring(Place::Running);
    const QList<qint64> ids{bench.append(u"done"_s), bench.append(u"done"_s), bench.append(u"done"_s)};
    bench.queue->pauseAll();
    QVERIFY(bench.run());
    for (const qint64 id : ids + QList<qint64>{first})
        QCOMPARE(bench.queue->state(id), State::Paused);
    bench.queue->resumeAll();
    QVERIFY(bench.run());
    QCOMPARE(bench.began, (QList<qint64>{first} + ids + QList<qint64>{first}));
    for (const qint64 id : ids)
        QCOMPARE(bench.states.value(id),
                 (States{State::Waiting, State::Paused, State::Waiting, State::Running, State::Done}));
}

void TestDownloadQueueCommands::moreAtOnceBeginAtOnce()
{
    QueueBench bench(QueueBench::oneAtATime());
    const QList<qint64> ids{bench.append(u"run"_s), bench.append(u"run"_s), bench.append(u"run"_s)};
    QTRY_VERIFY(bench.running(ids.at(0)));
    bench.queue->setMostAtOnce(2);
    QTRY_VERIFY(bench.running(ids.at(1)));
    QueueBench::settle();
    QVERIFY(!bench.running(ids.at(2)));
}

void TestDownloadQueueCommands::fewerAtOnceLeaveThoseThatRunAlone()
{
    QueueBench bench;
    const QList<qint64> ids{bench.append(u"run"_s), bench.append(u"run"_s)};
    QTRY_VERIFY(bench.running(ids.at(0)) && bench.running(ids.at(1)));
    bench.queue->setMostAtOnce(0);
    const qint64 third = bench.append(u"done"_s);
    QueueBench::settle();
    QVERIFY(bench.running(ids.at(0)) && bench.running(ids.at(1)));
    bench.queue->pause(ids.at(0));
    QueueBench::settle();
    QCOMPARE(bench.queue->state(third), State::Waiting);
    bench.queue->pause(ids.at(1));
    QTRY_COMPARE(bench.endsOf(third), 1);
}

void TestDownloadQueueCommands::whatMakesNoSenseIsRefusedAndChangesNothing_data()
{
    using Command = std::function<bool(DownloadQueue &, qint64, Failure *)>;
    QTest::addColumn<Place>("place");
    QTest::addColumn<Command>("command");
    const Command append = [](DownloadQueue &queue, qint64 id, Failure *failure) {
        return queue.append(id, DownloadQueue::Job::Download, failure);
    };
    const Command resume = [](DownloadQueue &queue, qint64 id, Failure *failure) { return queue.resume(id, failure); };
    const Command strangers = [](DownloadQueue &queue, qint64, Failure *failure) {
        return queue.pause(99, failure) || queue.resume(99, failure) || queue.take(99, failure);
    };
    for (const auto &[name, place] : QueueBench::kPlaces) {
        QTest::addRow("append, %s", name) << place << append;
        QTest::addRow("resume, %s", name) << place << resume;
        QTest::addRow("an unknown one, %s", name) << place << strangers;
    }
}

void TestDownloadQueueCommands::whatMakesNoSenseIsRefusedAndChangesNothing()
{
    QFETCH(Place, place);
    QFETCH(std::function<bool(DownloadQueue &, qint64, Failure *)>, command);
    QueueBench bench(QueueBench::oneAtATime());
    const qint64 id = bench.bring(place);
    const auto before = bench.queue->state(id);
    const States states = bench.states.value(id);
    Failure failure;
    QVERIFY(!command(*bench.queue, id, &failure));
    QCOMPARE(failure.kind, Failure::Kind::WrongState);
    QVERIFY(!failure.plain().isEmpty());
    QCOMPARE(bench.queue->state(id), before);
    QCOMPARE(bench.states.value(id), states);
}

/// What the list did not take, no request of the running download has either.
void TestDownloadQueueCommands::headersThatAreRefusedAreNotSentEither()
{
    QueueBench bench(QueueBench::oneAtATime());
    const qint64 id = bench.bring(Place::Running);
    QVERIFY(id > 0);
    DownloadOptions options = bench.session->options(id);
    options.headers = {{u"X-Token"_s, QString(), SecretHeader::kEverywhere}};
    Failure failure;
    QVERIFY(bench.session->setOptions(id, options, &failure));
    QCOMPARE(bench.session->missingHeaders(id).size(), 1);
    OptionChanges changes;
    changes.headersForAll = {{u"X-Token"_s, u"secret"_s}, {u"Accept-Language"_s, u"de"_s}};
    QVERIFY(!bench.session->renew(id, changes, &failure));
    QCOMPARE(failure.kind, Failure::Kind::CannotChange);
    QCOMPARE(bench.session->missingHeaders(id).size(), 1);
    bench.session->stop(id);
    QVERIFY(bench.run());
    QVERIFY(bench.session->renew(id, changes, &failure));
    QCOMPARE(bench.session->missingHeaders(id).size(), 0);
}

/// Each is told once, in the order in which it came about, whoever calls from inside of what.
void TestDownloadQueueCommands::commandsFromInsideTheSignals()
{
    QueueBench bench(QueueBench::oneAtATime());
    int pauses = 0;
    connect(bench.queue.get(), &DownloadQueue::stateChanged, &bench, [&](qint64 id, State, State to) {
        if (to == State::Running && ++pauses <= 3)
            bench.queue->pause(id);
        else if (to == State::Paused)
            bench.queue->resume(id);
    });
    const qint64 id = bench.append(u"run;run;run;done"_s);
    QTRY_VERIFY(!bench.outcomes.isEmpty() && bench.outcomes.last().failure.kind == Failure::Kind::None);
    QCOMPARE(bench.endsOf(id), 4);
    const States round{State::Waiting, State::Running, State::Paused};
    QCOMPARE(bench.states.value(id), round + round + round + (States{State::Waiting, State::Running, State::Done}));
}

void TestDownloadQueueCommands::thousandsThatWaitAreGivenUpAtOnce()
{
    constexpr int kMany = 20'000;
    QueueBench bench(QueueBench::oneAtATime());
    const qint64 id = bench.bring(Place::Running);
    for (int i = 1; i <= kMany; ++i)
        QVERIFY(bench.queue->append(id + i));
    QueueBench::settle();
    const qsizetype told = bench.states.size();
    const auto &list = dynamic_cast<StoreThread &>(bench.session->list());
    const qint64 calls = list.calls();
    bench.queue->close();
    QVERIFY(bench.run());
    QCOMPARE(bench.neverBegan, kMany);
    QCOMPARE(bench.outcomes.size(), 1);
    QCOMPARE(bench.states.size(), told);
    QVERIFY2(list.calls() - calls < 30, qPrintable(u"%1 calls"_s.arg(list.calls() - calls)));
}

QTEST_GUILESS_MAIN(TestDownloadQueueCommands)
#include "tst_downloadqueue_commands.moc"
