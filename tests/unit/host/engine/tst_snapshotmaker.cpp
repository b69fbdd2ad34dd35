// SPDX-License-Identifier: MIT
#include <host/engine/snapshotmaker.h>

#include <QTest>

using namespace Qt::StringLiterals;

/// What a row of the list says of a download.
class TestSnapshotMaker : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theStateAtRest_data();
    void theStateAtRest();
    void aFileThatWasFoundWrongHasFailed_data();
    void aFileThatWasFoundWrongHasFailed();
    void onePlaceIsKnownOfAnOnlyServer();
    void whatOurTransfersSayIsBetterThanWhatAModuleSays();
    void theTimeOfTheNextAttemptStays();
    void aLongerRestHasATimeOfItsOwn();
    void secretsAreNotInTheDetails();
};

void TestSnapshotMaker::theStateAtRest_data()
{
    QTest::addColumn<ListEntry>("entry");
    QTest::addColumn<Failure::Kind>("failure");
    QTest::addColumn<DownloadState>("state");
    using Kind = Failure::Kind;
    const auto finished = [](bool hasChecksum, ChecksumResult result) {
        ListEntry entry;
        entry.finished = true;
        entry.hasChecksum = hasChecksum;
        entry.checksumResult = result;
        return entry;
    };
    ListEntry others;
    others.owner.pid = 1;
    QTest::newRow("a new one waits for somebody") << ListEntry() << Kind::None << DownloadState::Paused;
    QTest::newRow("a stopped one can go on") << ListEntry() << Kind::Stopped << DownloadState::Paused;
    QTest::newRow("a failure is kept") << ListEntry() << Kind::NotFound << DownloadState::Failed;
    QTest::newRow("another process works on it") << others << Kind::None << DownloadState::Running;
    QTest::newRow("whole") << finished(false, ChecksumResult::NotCompared) << Kind::None << DownloadState::Done;
    QTest::newRow("whole and right") << finished(true, ChecksumResult::Equal) << Kind::None << DownloadState::Done;
    QTest::newRow("whole and wrong") << finished(true, ChecksumResult::Different) << Kind::None
                                     << DownloadState::Failed;
    QTest::newRow("still to be compared")
        << finished(true, ChecksumResult::NotCompared) << Kind::None << DownloadState::Paused;
}

void TestSnapshotMaker::theStateAtRest()
{
    QFETCH(ListEntry, entry);
    QFETCH(Failure::Kind, failure);
    QFETCH(DownloadState, state);
    QCOMPARE(SnapshotMaker::stateAtRest(entry, Failure::make(failure, {})), state);
}

void TestSnapshotMaker::aFileThatWasFoundWrongHasFailed_data()
{
    QTest::addColumn<ChecksumResult>("serversDigest");
    QTest::addColumn<Failure::Kind>("kind");
    using Kind = Failure::Kind;
    QTest::newRow("a person's checksum") << ChecksumResult::NotCompared << Kind::ChecksumDiffers;
    QTest::newRow("the server's own") << ChecksumResult::Different << Kind::DigestDiffers;
}

/// Also in an engine that has not compared it itself.
void TestSnapshotMaker::aFileThatWasFoundWrongHasFailed()
{
    QFETCH(ChecksumResult, serversDigest);
    QFETCH(Failure::Kind, kind);
    ListEntry entry;
    entry.id = 7;
    entry.finished = true;
    entry.hasChecksum = true;
    entry.checksumResult = ChecksumResult::Different;
    entry.evidence.digest = serversDigest;
    const Snapshot row = SnapshotMaker::ofEntry(entry);
    QCOMPARE(row.state, DownloadState::Failed);
    QCOMPARE(row.failure.kind, kind);
    QCOMPARE(row.failure.subject.id, 7);
}

void TestSnapshotMaker::onePlaceIsKnownOfAnOnlyServer()
{
    DownloadStatus status;
    status.speed = 100;
    status.fetching = {7};
    status.servers = {{{u"h"_s, 80}, {1}}};
    Snapshot snapshot;
    SnapshotMaker::putStatus(snapshot, status, {});
    QCOMPARE(snapshot.connections, QList<ConnectionSnapshot>({{u"h:80"_s, 7, 100}}));
    status.servers = {{{u"h"_s, 80}, {1}}, {{u"i"_s, 80}, {1}}};
    SnapshotMaker::putStatus(snapshot, status, {});
    QCOMPARE(snapshot.connections.size(), 2);
    QCOMPARE(snapshot.connections.first().position, -1);
}

void TestSnapshotMaker::whatOurTransfersSayIsBetterThanWhatAModuleSays()
{
    DownloadStatus status;
    status.speed = 100;
    status.fetching = {7, 50};
    status.servers = {{{u"h"_s, 80}, {1}}, {{u"i"_s, 80}, {1}}};
    status.transfers = {{u"i:80"_s, 50, 30}, {u"h:80"_s, 7, 70}, {u"h:80"_s, -1, 0}};
    Snapshot snapshot;
    SnapshotMaker::putStatus(snapshot, status, {});
    QCOMPARE(snapshot.connections,
             QList<ConnectionSnapshot>({{u"i:80"_s, 50, 30}, {u"h:80"_s, 7, 70}, {u"h:80"_s, -1, 0}}));
}

void TestSnapshotMaker::theTimeOfTheNextAttemptStays()
{
    const QDateTime now = QDateTime::currentDateTimeUtc();
    DownloadStatus status;
    status.retryInMs = 5000;
    Snapshot snapshot;
    SnapshotMaker::putStatus(snapshot, status, now);
    status.retryInMs = 4000;
    SnapshotMaker::putStatus(snapshot, status, now.addMSecs(1001));
    QCOMPARE(snapshot.restingUntil, now.addMSecs(5000));
    status.retryInMs = -1;
    SnapshotMaker::putStatus(snapshot, status, now);
    QVERIFY(!snapshot.restingUntil.isValid());
}

void TestSnapshotMaker::aLongerRestHasATimeOfItsOwn()
{
    const QDateTime now = QDateTime::currentDateTimeUtc();
    DownloadStatus status;
    status.retryInMs = 1000;
    Snapshot snapshot;
    SnapshotMaker::putStatus(snapshot, status, now);
    SnapshotMaker::putStatus(snapshot, status, now.addMSecs(1000));
    QCOMPARE(snapshot.restingUntil, now.addMSecs(2000));
}

void TestSnapshotMaker::secretsAreNotInTheDetails()
{
    DownloadOptions options;
    options.user = u"me"_s;
    options.password = u"secret"_s;
    options.headers = {{u"X-Key"_s, u"secret"_s, {}}, {u"X-Gone"_s, QString(), {}}};
    const SnapshotDetails details = SnapshotMaker::detailsOf({}, options, {}, {});
    QVERIFY(details.options.user.isEmpty() && details.options.password.isEmpty());
    QVERIFY(details.options.headers.first().value.isNull());
    QCOMPARE(details.keptHeaders, QList<QString>{u"X-Key"_s});
}

QTEST_GUILESS_MAIN(TestSnapshotMaker)
#include "tst_snapshotmaker.moc"
