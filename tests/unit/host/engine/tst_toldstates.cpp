// SPDX-License-Identifier: MIT
#include <host/engine/toldstates.h>

#include <QTest>

using State = DownloadState;

namespace
{

Snapshot row(State state, qint64 ownerPid = 0)
{
    Snapshot row;
    row.id = 7;
    row.state = state;
    row.ownerPid = ownerPid;
    return row;
}

}

/// What front ends are told of states, held against the table of those that may follow.
class TestToldStates : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void whatMayFollow_data();
    void whatMayFollow();
    void theTableSaysWhatFollowsUponWhatDoesNotRest();
    void whatIsRemovedRested_data();
    void whatIsRemovedRested();
    void whatRestsIsNotKept();
};

void TestToldStates::whatMayFollow_data()
{
    QTest::addColumn<QList<Snapshot>>("before");
    QTest::addColumn<Snapshot>("now");
    QTest::addColumn<bool>("isLegal");
    using Rows = QList<Snapshot>;
    QTest::newRow("what is new rests") << Rows{} << row(State::Paused) << true;
    QTest::newRow("what is new does not run yet") << Rows{} << row(State::Running) << false;
    QTest::newRow("what rests waits first") << Rows{row(State::Failed)} << row(State::Waiting) << true;
    QTest::newRow("what rests is hashed by nobody") << Rows{row(State::Done)} << row(State::Hashing) << false;
    QTest::newRow("what rests may be checked") << Rows{row(State::Done)} << row(State::Checking) << true;
    QTest::newRow("what rests may have got a checksum") << Rows{row(State::Done)} << row(State::Paused) << true;
    QTest::newRow("what is checked rests before it waits")
        << Rows{row(State::Checking)} << row(State::Waiting) << false;
    QTest::newRow("a check ends") << Rows{row(State::Checking)} << row(State::Failed) << true;
    QTest::newRow("more may be said of the same state")
        << Rows{row(State::Waiting), row(State::Running)} << row(State::Running) << true;
    QTest::newRow("what runs does not wait once more")
        << Rows{row(State::Waiting), row(State::Running)} << row(State::Waiting) << false;
    QTest::newRow("another process runs it") << Rows{row(State::Paused)} << row(State::Running, 4711) << true;
    QTest::newRow("what another process ran waits here")
        << Rows{row(State::Running, 4711)} << row(State::Waiting) << true;
    QTest::newRow("what another process ran came to rest, and does not run")
        << Rows{row(State::Running, 4711), row(State::Paused)} << row(State::Running) << false;
}

void TestToldStates::whatMayFollow()
{
    QFETCH(QList<Snapshot>, before);
    QFETCH(Snapshot, now);
    ToldStates told;
    for (const Snapshot &one : before)
        QVERIFY(told.take(one));
    QTEST(told.take(now), "isLegal");
}

void TestToldStates::theTableSaysWhatFollowsUponWhatDoesNotRest()
{
    for (const State from : {State::Waiting, State::Running, State::Resting, State::Asking, State::Hashing}) {
        for (const auto &[to, name] : downloadStates().names()) {
            ToldStates told;
            told.take(row(from));
            QCOMPARE(told.take(row(to)), from == to || downloadStates().allows(from, to));
        }
    }
}

void TestToldStates::whatIsRemovedRested_data()
{
    QTest::addColumn<Snapshot>("before");
    QTest::addColumn<bool>("isLegal");
    QTest::newRow("paused") << row(State::Paused) << true;
    QTest::newRow("still waiting") << row(State::Waiting) << false;
    QTest::newRow("still checked") << row(State::Checking) << false;
    QTest::newRow("another's") << row(State::Running, 4711) << true;
}

void TestToldStates::whatIsRemovedRested()
{
    QFETCH(Snapshot, before);
    ToldStates told;
    told.take(before);
    QTEST(told.takeRemoved(7), "isLegal");
    QCOMPARE(told.count(), 0);
}

void TestToldStates::whatRestsIsNotKept()
{
    ToldStates told;
    QVERIFY(told.take(row(State::Waiting)));
    QCOMPARE(told.stateOf(7), State::Waiting);
    QVERIFY(told.take(row(State::Paused)));
    QVERIFY(!told.stateOf(7));
    QCOMPARE(told.count(), 0);
}

QTEST_GUILESS_MAIN(TestToldStates)
#include "tst_toldstates.moc"
