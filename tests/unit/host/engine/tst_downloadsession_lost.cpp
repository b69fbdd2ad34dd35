// SPDX-License-Identifier: MIT
#include <host/engine/downloadqueue.h>
#include <host/engine/downloadsession.h>
#include <tests/support/scriptedserver.h>
#include <tests/support/sqlfile.h>
#include <tests/support/testfiles.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <functional>
#include <memory>
#include <utility>

using namespace Qt::StringLiterals;

namespace
{

constexpr quint64 kSeed = 62;
constexpr qint64 kSize = 2000000;
constexpr qint64 kHalf = kSize / 2;

}

/// Downloads of the real module in a process that stood still for so long that others may have taken them, and have.
class TestDownloadSessionLost : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void theFileOfWhatIsAnothersGetsNoByteMore();
    void theFileOfWhatIsAnothersDoesNotGetItsName();
    void whatIsAnothersGetsNoFile_data();
    void whatIsAnothersGetsNoFile();
    void aRestartLeavesTheFileOfWhatIsAnothers();
    void whatIsAnothersIsOverThoughNothingComes();
    void whatIsStillOursGoesOn();
    void whatWasLostBetweenTwoRunsIsLeftAsItIs();
    void theListOfWhatIsAnothersIsNotRepaired_data();
    void theListOfWhatIsAnothersIsNotRepaired();

private:
    using Reaction = AbstractDownloadExistingFileReaction;
    qint64 append(const QString &path, Reaction onExists = Reaction::NotSet);
    /// Half of it is on the disk, and the rest waits at the server.
    qint64 beginHalf(const QString &path);
    /// It rests like this, and stays this process's.
    qint64 holdHalf(const QString &path);
    void lose(qint64 id) const
    {
        QVERIFY(m_other->run(u"UPDATE downloads SET fence = fence + 1, owner_pid = 77, owner_boot_id = 'there' "
                             u"WHERE id = %1"_s.arg(id)));
    }
    /// As if this process had stood still until now.
    void standStill() { static_cast<StoreThread &>(m_session->list()).doubt(); }
    QString partOf(const QString &path) const { return m_dir->path() + path + ".part"_L1; }
    Failure failureOf(qint64 id) const { return m_ends.value(id).failure; }

    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<ScriptedServer> m_server;
    std::unique_ptr<DownloadSession> m_session;
    std::unique_ptr<DownloadQueue> m_queue;
    std::unique_ptr<SqlFile> m_other;
    QHash<qint64, DownloadOutcome> m_ends;
};

void TestDownloadSessionLost::init()
{
    m_ends.clear();
    m_dir = std::make_unique<QTemporaryDir>();
    m_server = std::make_unique<ScriptedServer>();
    m_server->setFallback([](const ScriptedRequest &request) {
        ScriptedResponse response = ScriptedResponse::file(kSeed, kSize);
        response.holdAfter = kHalf;
        response.holdGate = QString::fromLatin1(request.path());
        return response;
    });
    m_session = std::make_unique<DownloadSession>();
    SessionOptions options;
    options.listPath = m_dir->filePath(u"list.sqlite"_s);
    options.moduleFolders = {QStringLiteral(MODULE_FOLDER)};
    options.usage.maximumConnections = 1;
    Failure failure;
    QVERIFY2(m_session->open(options, &failure), qPrintable(failure.plain()));
    m_other = std::make_unique<SqlFile>(options.listPath);
    m_queue = std::make_unique<DownloadQueue>(*m_session, QueueOptions());
    connect(m_queue.get(), &DownloadQueue::ended, this,
            [this](const DownloadOutcome &outcome) { m_ends.insert(outcome.id, outcome); });
}

void TestDownloadSessionLost::cleanup()
{
    m_queue.reset();
    // In order, so that nothing is left behind in the writers' thread.
    QSignalSpy closed(m_session.get(), &DownloadSession::closed);
    m_session->close();
    QTRY_COMPARE(closed.size(), 1);
    m_session.reset();
    m_server.reset();
}

qint64 TestDownloadSessionLost::append(const QString &path, Reaction onExists)
{
    DownloadRequest request;
    request.url = m_server->url(path);
    request.folder = m_dir->path();
    request.onExists = onExists;
    Failure failure;
    const qint64 id = m_session->add(request, &failure);
    m_queue->append(id);
    return id;
}

qint64 TestDownloadSessionLost::beginHalf(const QString &path)
{
    const qint64 id = append(path);
    const auto isThere = [this, id] { return m_session->info(id).bytesDownloaded(false) == kHalf; };
    return QTest::qWaitFor(isThere, ScriptedServer::kPatienceMs) ? id : 0;
}

qint64 TestDownloadSessionLost::holdHalf(const QString &path)
{
    const qint64 id = beginHalf(path);
    m_session->stop(id);
    Failure failure;
    const bool isOver = QTest::qWaitFor([this, id] { return m_ends.contains(id); }, ScriptedServer::kPatienceMs);
    return isOver && m_session->hold(id, &failure) ? id : 0;
}

void TestDownloadSessionLost::theFileOfWhatIsAnothersGetsNoByteMore()
{
    const qint64 id = beginHalf(u"/a.bin"_s);
    QVERIFY(id > 0);
    lose(id);
    const QByteArray before = TestFiles::sha256OfFile(partOf(u"/a.bin"_s));
    standStill();
    m_server->release(u"/a.bin"_s);
    QTRY_VERIFY(m_ends.contains(id));
    QCOMPARE(failureOf(id).kind, Failure::Kind::OwnedByOther);
    QCOMPARE(failureOf(id).number, 77);
    QCOMPARE(TestFiles::sha256OfFile(partOf(u"/a.bin"_s)), before);
}

void TestDownloadSessionLost::theFileOfWhatIsAnothersDoesNotGetItsName()
{
    const qint64 id = beginHalf(u"/a.bin"_s);
    QVERIFY(id > 0);
    connect(m_session.get(), &DownloadSession::performingFilesOperations, this, [&] {
        if (m_ends.isEmpty() && m_session->info(id).bytesDownloaded(false) == kSize) {
            lose(id);
            standStill();
        }
    });
    m_server->release(u"/a.bin"_s);
    QTRY_VERIFY(m_ends.contains(id));
    QCOMPARE(failureOf(id).kind, Failure::Kind::OwnedByOther);
    QVERIFY(QFileInfo::exists(partOf(u"/a.bin"_s)));
    QVERIFY(!QFileInfo::exists(m_dir->filePath(u"a.bin"_s)));
}

void TestDownloadSessionLost::whatIsAnothersGetsNoFile_data()
{
    QTest::addColumn<bool>("isInTheWay");
    QTest::addColumn<bool>("isToldByTheList");
    QTest::newRow("the list says it, and nothing is in the way") << false << true;
    QTest::newRow("the list says it, and an incomplete file is in the way") << true << true;
    QTest::newRow("after a standstill, and nothing is in the way") << false << false;
    QTest::newRow("after a standstill, and an incomplete file is in the way") << true << false;
}

/// What is in the way may be its new owner's.
void TestDownloadSessionLost::whatIsAnothersGetsNoFile()
{
    QFETCH(bool, isInTheWay);
    QFETCH(bool, isToldByTheList);
    QFile inTheWay(partOf(u"/a.bin"_s));
    QVERIFY(!isInTheWay || (inTheWay.open(QIODevice::WriteOnly) && inTheWay.write("theirs") > 0));
    inTheWay.close();
    // The list is asked before anybody else hears that a file is about to be made.
    const QObject here;
    bool isLost = false;
    const auto loseOnce = [&](qint64 id) {
        if (!std::exchange(isLost, true))
            lose(id);
        if (!isToldByTheList)
            standStill();
    };
    if (isToldByTheList)
        connect(m_session.get(), &DownloadSession::gotResponseHeaders, &here, loseOnce);
    else
        connect(m_session.get(), &DownloadSession::performingFilesOperations, &here, loseOnce);
    const qint64 id = append(u"/a.bin"_s, Reaction::Overwrite);
    QTRY_VERIFY(m_ends.contains(id));
    QVERIFY(isLost);
    QCOMPARE(failureOf(id).kind, Failure::Kind::OwnedByOther);
    QCOMPARE(failureOf(id).number, 77);
    const QStringList left = QDir(m_dir->path()).entryList({u"a*"_s});
    QCOMPARE(left, isInTheWay ? QStringList{u"a.bin.part"_s} : QStringList());
    QVERIFY(!isInTheWay || (inTheWay.open(QIODevice::ReadOnly) && inTheWay.readAll() == "theirs"));
}

void TestDownloadSessionLost::aRestartLeavesTheFileOfWhatIsAnothers()
{
    const qint64 id = holdHalf(u"/a.bin"_s);
    QVERIFY(id > 0);
    const QByteArray before = TestFiles::sha256OfFile(partOf(u"/a.bin"_s));
    connect(m_session.get(), &DownloadSession::performingFilesOperations, this, [this](qint64 which) {
        lose(which);
        standStill();
    });
    m_ends.clear();
    m_queue->append(id, DownloadQueue::Job::Restart);
    QTRY_VERIFY(m_ends.contains(id));
    QCOMPARE(failureOf(id).kind, Failure::Kind::OwnedByOther);
    QCOMPARE(failureOf(id).number, 77);
    QCOMPARE(TestFiles::sha256OfFile(partOf(u"/a.bin"_s)), before);
}

void TestDownloadSessionLost::whatIsAnothersIsOverThoughNothingComes()
{
    const qint64 silent = beginHalf(u"/silent.bin"_s);
    const qint64 ours = beginHalf(u"/ours.bin"_s);
    QVERIFY(silent > 0 && ours > 0);
    // No save that is due tells it.
    QTRY_COMPARE(m_session->list().load(silent)->bytesDownloaded(false), kHalf);
    lose(silent);
    standStill();
    m_server->release(u"/ours.bin"_s);
    QTRY_VERIFY(m_ends.contains(silent));
    QCOMPARE(failureOf(silent).kind, Failure::Kind::OwnedByOther);
    QTRY_VERIFY(m_ends.contains(ours));
    QCOMPARE(failureOf(ours).kind, Failure::Kind::None);
}

void TestDownloadSessionLost::whatIsStillOursGoesOn()
{
    const qint64 id = beginHalf(u"/a.bin"_s);
    QVERIFY(id > 0);
    QVERIFY(m_other->run(u"UPDATE owners SET until = 1"_s));
    standStill();
    m_server->release(u"/a.bin"_s);
    QTRY_VERIFY(m_ends.contains(id));
    QCOMPARE(failureOf(id).kind, Failure::Kind::None);
    QCOMPARE(TestFiles::sha256OfFile(m_dir->filePath(u"a.bin"_s)), TestFiles::sha256OfContent(kSeed, kSize));
    QVERIFY(m_other->value(u"SELECT until FROM owners"_s).toLongLong() > 1);
}

/// By its new owner it is finished; the list that this process remembers knows it as incomplete.
void TestDownloadSessionLost::whatWasLostBetweenTwoRunsIsLeftAsItIs()
{
    const qint64 id = holdHalf(u"/a.bin"_s);
    QVERIFY(id > 0);
    lose(id);
    QVERIFY(QFile::rename(partOf(u"/a.bin"_s), m_dir->filePath(u"a.bin"_s)));
    standStill();
    Failure failure;
    QVERIFY(!m_session->start(id, &failure));
    QCOMPARE(failure.kind, Failure::Kind::OwnedByOther);
    QCOMPARE(failure.number, 77);
    QVERIFY(QFileInfo::exists(m_dir->filePath(u"a.bin"_s)));
    QVERIFY(!m_session->lease(id));
}

void TestDownloadSessionLost::theListOfWhatIsAnothersIsNotRepaired_data()
{
    using Session = DownloadSession;
    using How = std::function<bool(Session &, qint64, Failure *)>;
    QTest::addColumn<How>("how");
    QTest::addColumn<bool>("isFinished");
    const How start = [](Session &session, qint64 id, Failure *failure) { return session.start(id, failure); };
    QTest::newRow("that has more than the disk") << start << false;
    QTest::newRow("that says of a file that is gone that it is whole") << start << true;
    QTest::newRow("that is to be finished early")
        << How([](Session &session, qint64 id, Failure *failure) { return session.finishNow(id, failure); }) << false;
}

/// Also where no clock told that it may be.
void TestDownloadSessionLost::theListOfWhatIsAnothersIsNotRepaired()
{
    using How = std::function<bool(DownloadSession &, qint64, Failure *)>;
    QFETCH(How, how);
    QFETCH(bool, isFinished);
    const qint64 id = holdHalf(u"/a.bin"_s);
    QVERIFY(id > 0);
    if (isFinished) {
        m_server->release(u"/a.bin"_s);
        m_ends.clear();
        QVERIFY(m_queue->append(id));
        QTRY_VERIFY(m_ends.contains(id));
        QVERIFY(QFile::remove(m_dir->filePath(u"a.bin"_s)));
        Failure failure;
        QVERIFY(m_session->hold(id, &failure));
    } else {
        QVERIFY(QFile::resize(partOf(u"/a.bin"_s), kHalf / 2));
    }
    lose(id);
    Failure failure;
    const QList<QVariantList> before = m_other->rows(u"SELECT * FROM sections"_s);
    const QVariant wasFinished = m_other->value(u"SELECT finished FROM downloads"_s);
    QVERIFY(!how(*m_session, id, &failure));
    QCOMPARE(failure.kind, Failure::Kind::OwnedByOther);
    QCOMPARE(m_other->rows(u"SELECT * FROM sections"_s), before);
    QCOMPARE(m_other->value(u"SELECT finished FROM downloads"_s), wasFinished);
    QVERIFY(!m_session->lease(id));
}

QTEST_GUILESS_MAIN(TestDownloadSessionLost)
#include "tst_downloadsession_lost.moc"
