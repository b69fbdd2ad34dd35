// SPDX-License-Identifier: MIT
#include <host/engine/downloadqueue.h>
#include <host/engine/downloadsession.h>
#include <host/engine/snapshotmaker.h>
#include <host/options/optionchanges.h>
#include <host/options/optiontable.h>
#include <tests/support/scriptedserver.h>
#include <tests/support/testfiles.h>

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <memory>

using namespace Qt::StringLiterals;

namespace
{

constexpr quint64 kSeed = 61;
constexpr qint64 kSize = 8000000;

class QueueWithClock : public DownloadQueue
{
public:
    using DownloadQueue::DownloadQueue;

    QDateTime wall;

protected:
    QDateTime wallClock() const override { return wall; }
};

}

/// Limits of connections, and hours of the day, that change while downloads of the real module run.
class TestDownloadQueueConnections : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void aDownloadThatMayHaveMoreTakesThem();
    void aDownloadWhoseOptionsLetItHaveMoreTakesThem();
    void aDownloadThatMayHaveMoreToItsServerTakesThem();
    void allThatMayHaveMoreTakeThem();
    void whatEndedBeforeTheLimitRoseLeavesNobodyBehind();
    void theBytesOfARunThatItsHoursEndedStay();
    void eachConnectionHasAServerAPlaceAndASpeed_data();
    void eachConnectionHasAServerAPlaceAndASpeed();

private:
    qint64 append(const QString &path);

    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<ScriptedServer> m_server;
    std::unique_ptr<DownloadSession> m_session;
    std::unique_ptr<DownloadQueue> m_queue;
};

void TestDownloadQueueConnections::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    m_server = std::make_unique<ScriptedServer>();
    m_server->setFallback([](const ScriptedRequest &request) {
        ScriptedResponse response = ScriptedResponse::file(kSeed, kSize);
        response.holdAfter = 1;
        response.holdGate = QString::fromLatin1(request.path());
        return response;
    });
    m_session = std::make_unique<DownloadSession>();
    SessionOptions options;
    options.listPath = m_dir->filePath(u"list.sqlite"_s);
    options.moduleFolders = {QStringLiteral(MODULE_FOLDER)};
    options.usage.maximumConnections = 2;
    Failure failure;
    QVERIFY2(m_session->open(options, &failure), qPrintable(failure.plain()));
    m_queue = std::make_unique<DownloadQueue>(*m_session, QueueOptions());
}

void TestDownloadQueueConnections::cleanup()
{
    m_queue.reset();
    // In order, so that nothing is left behind in the writers' thread.
    QSignalSpy closed(m_session.get(), &DownloadSession::closed);
    m_session->close();
    QTRY_COMPARE(closed.size(), 1);
    m_session.reset();
    m_server.reset();
}

qint64 TestDownloadQueueConnections::append(const QString &path)
{
    DownloadRequest request;
    request.url = m_server->url(path);
    request.folder = m_dir->path();
    Failure failure;
    const qint64 id = m_session->add(request, &failure);
    m_queue->append(id);
    return id;
}

void TestDownloadQueueConnections::aDownloadThatMayHaveMoreTakesThem()
{
    const qint64 id = append(u"/a"_s);
    append(u"/b"_s);
    QVERIFY(m_server->waitForHeld(u"/a"_s, 2));
    QVERIFY(m_server->waitForHeld(u"/b"_s, 2));
    Failure failure;
    QVERIFY2(m_queue->setLimitsOf(id, {{}, 5, {}}, &failure), qPrintable(failure.plain()));
    QVERIFY(m_server->waitForHeld(u"/a"_s, 5));
    QCOMPARE(m_session->options(id).connections, 5);
    QCOMPARE(m_server->peakConnections(), 7);
}

void TestDownloadQueueConnections::aDownloadWhoseOptionsLetItHaveMoreTakesThem()
{
    const qint64 id = append(u"/a"_s);
    append(u"/b"_s);
    QVERIFY(m_server->waitForHeld(u"/a"_s, 2));
    QVERIFY(m_server->waitForHeld(u"/b"_s, 2));
    OptionChanges changes;
    changes.values.give(*OptionTable::ofHost().find(u"max-connections"_s), {5, u"a test"_s});
    Failure failure;
    QVERIFY2(m_session->renew(id, changes, &failure), qPrintable(failure.plain()));
    m_queue->renewLimitsOf(id);
    QVERIFY(m_server->waitForHeld(u"/a"_s, 5));
}

void TestDownloadQueueConnections::aDownloadThatMayHaveMoreToItsServerTakesThem()
{
    const qint64 id = append(u"/a"_s);
    Failure failure;
    QVERIFY2(m_queue->setLimitsOf(id, {{}, 8, 3}, &failure), qPrintable(failure.plain()));
    QVERIFY(m_server->waitForHeld(u"/a"_s, 3));
    QCOMPARE(m_server->peakConnections(), 3);
    QVERIFY2(m_queue->setLimitsOf(id, {{}, {}, 5}, &failure), qPrintable(failure.plain()));
    QVERIFY(m_server->waitForHeld(u"/a"_s, 5));
    QCOMPARE(m_server->peakConnections(), 5);
}

void TestDownloadQueueConnections::allThatMayHaveMoreTakeThem()
{
    m_queue->setMostConnections(2);
    append(u"/a"_s);
    append(u"/b"_s);
    QVERIFY(m_server->waitForHeld(u"/a"_s));
    QVERIFY(m_server->waitForHeld(u"/b"_s));
    m_queue->setMostConnections(3);
    QVERIFY(QTest::qWaitFor([this] { return m_server->heldCount(u"/a"_s) + m_server->heldCount(u"/b"_s) == 3; },
                            ScriptedServer::kPatienceMs));
    QCOMPARE(m_server->peakConnections(), 3);
    m_queue->setMostConnections(0);
    QVERIFY(m_server->waitForHeld(u"/a"_s, 2));
    QVERIFY(m_server->waitForHeld(u"/b"_s, 2));
    QCOMPARE(m_server->peakConnections(), 4);
}

void TestDownloadQueueConnections::whatEndedBeforeTheLimitRoseLeavesNobodyBehind()
{
    m_queue->setMostConnections(1);
    const qint64 first = append(u"/a"_s);
    QVERIFY(m_server->waitForHeld(u"/a"_s));
    append(u"/b"_s);
    append(u"/c"_s);
    m_session->stop(first);
    QVERIFY(m_server->waitForHeld(u"/b"_s));
    m_queue->setMostConnections(4);
    QVERIFY(m_server->waitForHeld(u"/b"_s, 2));
    QVERIFY(m_server->waitForHeld(u"/c"_s, 2));
}

void TestDownloadQueueConnections::theBytesOfARunThatItsHoursEndedStay()
{
    ScriptedResponse held = ScriptedResponse::file(kSeed, kSize);
    held.holdAfter = kSize / 4;
    m_server->setResponse("/a", held);
    QueueOptions options;
    options.schedule = *TimesOfDay::fromText(u"01:00-07:00"_s);
    auto queue = std::make_unique<QueueWithClock>(*m_session, options);
    queue->wall = QDateTime(QDate(2026, 11, 16), QTime(6, 59));
    QSignalSpy ended(queue.get(), &DownloadQueue::ended);
    m_queue = std::move(queue);
    auto *const clock = static_cast<QueueWithClock *>(m_queue.get());
    const qint64 id = append(u"/a"_s);
    QVERIFY(m_server->waitForHeld(QString(), 2));

    clock->wall = clock->wall.addSecs(60);
    QTRY_COMPARE(m_queue->state(id), DownloadState::Resting);
    QVERIFY(m_server->waitForNoConnections());
    const qint64 kept = m_queue->status(id).done;
    QVERIFY(kept > 0 && m_session->record(id)->bytesDownloaded(false) == kept);
    const qsizetype asked = m_server->requests().size();

    m_server->setResponse("/a", ScriptedResponse::file(kSeed, kSize));
    clock->wall = clock->wall.addSecs(18 * 3600);
    QTRY_COMPARE(ended.size(), 1);
    const auto outcome = ended.first().first().value<DownloadOutcome>();
    QVERIFY(!outcome.failure);
    QCOMPARE(TestFiles::sha256OfFile(outcome.info.filePath(0)), TestFiles::sha256OfContent(kSeed, kSize));
    for (qsizetype i = asked; i < m_server->requests().size(); ++i)
        QVERIFY2(m_server->requests().at(i).header("Range").startsWith("bytes="), "what was kept is asked for again");
}

void TestDownloadQueueConnections::eachConnectionHasAServerAPlaceAndASpeed_data()
{
    QTest::addColumn<bool>("hasMirror");
    QTest::newRow("one server") << false;
    QTest::newRow("two servers") << true;
}

void TestDownloadQueueConnections::eachConnectionHasAServerAPlaceAndASpeed()
{
    QFETCH(bool, hasMirror);
    constexpr qint64 kLarge = 64 * 1024 * 1024;
    ScriptedServer mirror;
    const auto slowly = [](const ScriptedRequest &) {
        ScriptedResponse response = ScriptedResponse::file(kSeed, kLarge);
        response.bytesPerSecond = 500000;
        return response;
    };
    m_server->setFallback(slowly);
    mirror.setFallback(slowly);
    DownloadRequest request;
    request.url = m_server->url(u"/large"_s);
    request.mirrors = hasMirror ? QList<QUrl>{mirror.url(u"/large"_s)} : QList<QUrl>();
    request.folder = m_dir->path();
    Failure failure;
    const qint64 id = m_session->add(request, &failure);
    m_queue->append(id);
    QList<ConnectionSnapshot> connections;
    const auto areKnown = [&] {
        Snapshot row;
        SnapshotMaker::putStatus(row, m_queue->status(id), QDateTime());
        connections = row.connections;
        return connections.size() == 2
            && std::all_of(connections.cbegin(), connections.cend(),
                           [](const ConnectionSnapshot &one) { return one.position >= 0 && one.speed > 0; });
    };
    QTRY_VERIFY_WITH_TIMEOUT(areKnown(), ScriptedServer::kPatienceMs);
    std::sort(connections.begin(), connections.end(),
              [](const auto &one, const auto &other) { return one.position < other.position; });
    // The second one begins in the middle.
    QVERIFY(connections.at(0).position < kLarge / 2);
    QVERIFY(connections.at(1).position >= kLarge / 2);
    const auto nameOf = [](const ScriptedServer &server) { return u"127.0.0.1:%1"_s.arg(server.port()); };
    QStringList servers{connections.at(0).server, connections.at(1).server};
    QStringList expected{nameOf(*m_server), nameOf(hasMirror ? mirror : *m_server)};
    servers.sort();
    expected.sort();
    QCOMPARE(servers, expected);
}

QTEST_GUILESS_MAIN(TestDownloadQueueConnections)
#include "tst_downloadqueue_connections.moc"
