// SPDX-License-Identifier: MIT
#include <host/engine/downloadqueue.h>
#include <host/engine/downloadsession.h>
#include <tests/support/scriptedserver.h>
#include <tests/support/testfiles.h>

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

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
    void aDownloadThatMayHaveMoreToItsServerTakesThem();
    void allThatMayHaveMoreTakeThem();
    void whatEndedBeforeTheLimitRoseLeavesNobodyBehind();
    void theBytesOfARunThatItsHoursEndedStay();

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

QTEST_GUILESS_MAIN(TestDownloadQueueConnections)
#include "tst_downloadqueue_connections.moc"
