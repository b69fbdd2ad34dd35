// SPDX-License-Identifier: MIT
#include <host/engine/localengine.h>
#include <host/storage/downloadlist.h>
#include <tests/support/scriptedserver.h>
#include <tests/support/testfiles.h>
#include <tests/unit/host/engine/downloadsmodel.h>

#include <QAbstractItemModelTester>
#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSet>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <memory>
#include <utility>

using namespace Qt::StringLiterals;

namespace
{

constexpr quint64 kSeed = 62;
constexpr qint64 kSize = 300000;
constexpr qint64 kBytesPerSecond = 3000000;
constexpr int kDownloads = 50;
constexpr int kAtOnce = 4;
constexpr auto kGate = "gate"_L1;

QString lineOf(const Snapshot &row)
{
    return QString::fromUtf8(QJsonDocument(row.toJson()).toJson(QJsonDocument::Compact));
}

/// The first row in which they differ; empty = they are the same.
QString difference(const QList<Snapshot> &shown, const QList<Snapshot> &answered)
{
    if (shown.size() != answered.size())
        return u"%1 rows are shown, %2 answered"_s.arg(shown.size()).arg(answered.size());
    const auto [one, other] = std::mismatch(shown.cbegin(), shown.cend(), answered.cbegin());
    return one == shown.cend() ? QString() : u"shown %1\nanswered %2"_s.arg(lineOf(*one), lineOf(*other));
}

}

/// A front end beside the command line: what it shows is at any moment what the engine would answer.
class TestEngineFrontend : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void whatIsAddedIsShownAndComesDown();
    void commandsAmidstRunningDownloadsAreShown();
    void allThatIsPausedAndResumedComesDown();
    void aPageTakenInTheMiddleIsFollowedToTheEnd();
    void anAnsweredQuestionLetsItsDownloadGoOnWhileOthersRun();
    void ofWhatWasRemovedNothingMoreIsSaid();
    void whatAnotherProgramDoesToTheListIsShown();

private:
    void keep(const EngineNews &news);
    void compare();
    void addAll(int count);
    DownloadRequest request(int number) const;
    bool isAnswered() const { return m_unanswered == 0 && !m_isComparing; }
    Engine::Callback counted();
    qint64 idAt(int row) const { return m_model->index(row).data(DownloadsModel::IdRole).toLongLong(); }
    DownloadState stateOf(qint64 id) const;
    int count(DownloadState state) const;
    bool isEachFileRight() const;

    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<ScriptedServer> m_server;
    std::unique_ptr<Engine> m_engine;
    std::unique_ptr<DownloadsModel> m_model;
    std::unique_ptr<QAbstractItemModelTester> m_tester;
    QSet<qint64> m_removed;
    QStringList m_late; ///< what was said of removed downloads
    QStringList m_differences; ///< between model and page
    QStringList m_failures; ///< of commands
    int m_comparisons = 0;
    int m_unanswered = 0;
    bool m_isComparing = false;
};

void TestEngineFrontend::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    m_server = std::make_unique<ScriptedServer>();
    m_server->setFallback([](const ScriptedRequest &) {
        ScriptedResponse response = ScriptedResponse::file(kSeed, kSize);
        response.holdAfter = kSize / 3;
        response.holdGate = kGate;
        response.bytesPerSecond = kBytesPerSecond;
        return response;
    });
    m_engine = std::make_unique<LocalEngine>();
    m_model = std::make_unique<DownloadsModel>(*m_engine);
    m_tester = std::make_unique<QAbstractItemModelTester>(m_model.get(),
                                                          QAbstractItemModelTester::FailureReportingMode::Fatal);
    EngineOptions options;
    options.session.listPath = m_dir->filePath(u"list.sqlite"_s);
    options.session.moduleFolders = {QStringLiteral(MODULE_FOLDER)};
    options.queue.mostAtOnce = kAtOnce;
    options.queue.canAsk = true;
    m_engine->open(options, counted());
    QSignalSpy loaded(m_model.get(), &DownloadsModel::modelReset);
    m_model->load();
    QTRY_COMPARE(loaded.size(), 1);
    connect(m_engine.get(), &Engine::told, this, &TestEngineFrontend::keep);
}

void TestEngineFrontend::cleanup()
{
    QTRY_VERIFY(isAnswered());
    disconnect(m_engine.get(), &Engine::told, this, nullptr);
    QSignalSpy closed(m_engine.get(), &Engine::closed);
    m_engine->close();
    QTRY_COMPARE(closed.size(), 1);
    m_tester.reset();
    m_model.reset();
    m_engine.reset();
    m_server.reset();
    QCOMPARE(std::exchange(m_failures, {}), QStringList());
    QCOMPARE(std::exchange(m_differences, {}), QStringList());
    QCOMPARE(std::exchange(m_late, {}), QStringList());
    QVERIFY(std::exchange(m_comparisons, 0) > 0);
    m_removed.clear();
}

void TestEngineFrontend::keep(const EngineNews &news)
{
    using Kind = EngineNews::Kind;
    const bool isOfARow = news.kind == Kind::Added || news.kind == Kind::Changed || news.kind == Kind::Removed
        || news.kind == Kind::Moved || news.kind == Kind::Warned;
    if (!isOfARow)
        return;
    if (m_removed.contains(news.id))
        m_late.append(u"kind %1 of download %2"_s.arg(int(news.kind)).arg(news.id));
    if (news.kind == Kind::Removed)
        m_removed.insert(news.id);
    compare();
}

/// After each signal; one page at a time.
void TestEngineFrontend::compare()
{
    if (std::exchange(m_isComparing, true))
        return;
    m_engine->snapshots({}, [this](const EngineAnswer &page) {
        m_isComparing = false;
        ++m_comparisons;
        const QString found = difference(m_model->rows(), page.snapshots);
        if (!found.isEmpty() && m_differences.size() < 3)
            m_differences.append(found);
    });
}

Engine::Callback TestEngineFrontend::counted()
{
    ++m_unanswered;
    return [this](const EngineAnswer &answer) {
        --m_unanswered;
        if (!answer.isOk())
            m_failures.append(QString::fromUtf8(QJsonDocument(answer.toJson()).toJson(QJsonDocument::Compact)));
    };
}

DownloadRequest TestEngineFrontend::request(int number) const
{
    DownloadRequest request;
    request.url = m_server->url(u"/file%1.bin"_s.arg(number));
    request.folder = m_dir->path();
    return request;
}

void TestEngineFrontend::addAll(int count)
{
    for (int i = 0; i < count; ++i)
        m_engine->add(request(i), true, counted());
    QTRY_VERIFY(isAnswered());
    QCOMPARE(m_model->rowCount(), count);
}

DownloadState TestEngineFrontend::stateOf(qint64 id) const
{
    const QModelIndexList found = m_model->match(m_model->index(0), DownloadsModel::IdRole, id, 1, Qt::MatchExactly);
    return found.isEmpty() ? DownloadState::Removed
                           : DownloadState(found.first().data(DownloadsModel::StateRole).toInt());
}

int TestEngineFrontend::count(DownloadState state) const
{
    const QList<Snapshot> &rows = m_model->rows();
    return int(std::count_if(rows.cbegin(), rows.cend(), [state](const Snapshot &row) { return row.state == state; }));
}

bool TestEngineFrontend::isEachFileRight() const
{
    const QByteArray right = TestFiles::sha256OfContent(kSeed, kSize);
    const QList<Snapshot> &rows = m_model->rows();
    return std::all_of(rows.cbegin(), rows.cend(),
                       [&](const Snapshot &row) { return row.run && TestFiles::sha256OfFile(row.run->path) == right; });
}

void TestEngineFrontend::whatIsAddedIsShownAndComesDown()
{
    m_server->release(kGate);
    addAll(kDownloads);
    QTRY_COMPARE_WITH_TIMEOUT(count(DownloadState::Done), kDownloads, ScriptedServer::kPatienceMs);
    QVERIFY(isEachFileRight());
}

void TestEngineFrontend::commandsAmidstRunningDownloadsAreShown()
{
    addAll(kDownloads);
    QVERIFY(m_server->waitForHeld(kGate, kAtOnce));
    const QList<qint64> paused{idAt(0), idAt(1), idAt(20)};
    const QList<qint64> removed{idAt(2), idAt(3), idAt(21), idAt(49)};
    for (const qint64 id : paused)
        m_engine->pause(id, counted());
    for (const qint64 id : removed)
        m_engine->remove(id, true, counted());
    const qint64 last = idAt(48);
    m_engine->move(last, 0, counted());
    m_engine->move(idAt(0), 30, counted());
    m_engine->move(idAt(10), 10, counted());
    m_engine->move(idAt(11), 1000, counted());
    m_engine->setLimits(idAt(5), {kSize * 10, 2, 1}, counted());
    m_engine->setLimits(idAt(40), {kSize * 10, 2, 1}, counted());
    QTRY_VERIFY(isAnswered());
    QTRY_COMPARE(count(DownloadState::Paused), int(paused.size()));
    QCOMPARE(m_removed, QSet<qint64>(removed.cbegin(), removed.cend()));
    QCOMPARE(idAt(0), last);
    m_engine->setMostAtOnce(2 * kAtOnce, counted());
    for (const qint64 id : paused)
        m_engine->resume(id, counted());
    QTRY_VERIFY(isAnswered());
    m_server->release(kGate);
    QTRY_COMPARE_WITH_TIMEOUT(count(DownloadState::Done), int(kDownloads - removed.size()),
                              ScriptedServer::kPatienceMs);
    QCOMPARE(m_model->rowCount(), int(kDownloads - removed.size()));
    QVERIFY(isEachFileRight());
}

void TestEngineFrontend::allThatIsPausedAndResumedComesDown()
{
    m_server->release(kGate);
    addAll(kDownloads);
    QTRY_VERIFY(count(DownloadState::Done) > kAtOnce);
    m_engine->pauseAll(counted());
    QTRY_COMPARE(count(DownloadState::Done) + count(DownloadState::Paused), kDownloads);
    QVERIFY(count(DownloadState::Paused) > 0);
    m_engine->resumeAll(counted());
    QTRY_COMPARE_WITH_TIMEOUT(count(DownloadState::Done), kDownloads, ScriptedServer::kPatienceMs);
    QVERIFY(isEachFileRight());
}

void TestEngineFrontend::aPageTakenInTheMiddleIsFollowedToTheEnd()
{
    addAll(12);
    QVERIFY(m_server->waitForHeld(kGate, kAtOnce));
    DownloadsModel second(*m_engine);
    QAbstractItemModelTester tester(&second, QAbstractItemModelTester::FailureReportingMode::Fatal);
    QSignalSpy loaded(&second, &DownloadsModel::modelReset);
    m_engine->move(idAt(11), 5, counted());
    second.load();
    m_engine->remove(idAt(8), false, counted());
    m_server->release(kGate);
    QTRY_COMPARE(loaded.size(), 1);
    QCOMPARE(second.overview(), m_model->overview());
    QTRY_COMPARE_WITH_TIMEOUT(count(DownloadState::Done), 11, ScriptedServer::kPatienceMs);
    QCOMPARE(difference(second.rows(), m_model->rows()), QString());
    QTRY_COMPARE(second.overview().totals, Totals());
}

void TestEngineFrontend::anAnsweredQuestionLetsItsDownloadGoOnWhileOthersRun()
{
    const DownloadRequest another = request(kDownloads);
    const QString taken = m_dir->filePath(another.url.fileName());
    QVERIFY(TestFiles::writeFile(taken, kSeed + 1, 10));
    m_engine->setMostAtOnce(kDownloads + 1, counted());
    addAll(kDownloads);
    QVERIFY(m_server->waitForHeld(kGate, kDownloads));
    connect(m_engine.get(), &Engine::asked, m_model.get(),
            [this](const Question &question) { m_engine->answer(question.id, Question::Choice::Rename, counted()); });
    QSignalSpy answered(m_engine.get(), &Engine::answered);
    DownloadRequest asking = another;
    asking.onExists = AbstractDownloadExistingFileReaction::Ask;
    m_engine->add(asking, true, counted());
    QTRY_COMPARE(answered.size(), 1);
    QTRY_COMPARE(count(DownloadState::Running), kDownloads + 1);
    m_server->release(kGate);
    QTRY_COMPARE_WITH_TIMEOUT(count(DownloadState::Done), kDownloads + 1, ScriptedServer::kPatienceMs);
    QVERIFY(isEachFileRight());
    QCOMPARE(TestFiles::readFile(taken), TestFiles::content(kSeed + 1, 0, 10));
}

void TestEngineFrontend::ofWhatWasRemovedNothingMoreIsSaid()
{
    addAll(12);
    QVERIFY(m_server->waitForHeld(kGate, kAtOnce));
    for (const Snapshot &row : QList<Snapshot>(m_model->rows()))
        m_engine->remove(row.id, true, counted());
    m_server->release(kGate);
    QTRY_COMPARE(m_model->rowCount(), 0);
    QTRY_VERIFY(isAnswered());
    QCOMPARE(m_removed.size(), 12);
    QCOMPARE(QDir(m_dir->path()).entryList({u"file*"_s}, QDir::Files), QStringList());
}

/// A service and a command line work on one list all day.
void TestEngineFrontend::whatAnotherProgramDoesToTheListIsShown()
{
    // It is shown a little later than it is in the list.
    disconnect(m_engine.get(), &Engine::told, this, &TestEngineFrontend::keep);
    m_server->release(kGate);
    const auto rowsAre = [this](const QList<qint64> &ids) {
        return m_model->isUpToDate()
            && std::equal(ids.cbegin(), ids.cend(), m_model->rows().cbegin(), m_model->rows().cend(),
                          [](qint64 id, const Snapshot &row) { return row.id == id; });
    };
    DownloadList other;
    QVERIFY(other.open(m_dir->filePath(u"list.sqlite"_s)));
    AbstractDownloadPersistentInfo record = request(7).newRecord();
    QVERIFY(other.insert(record) != 0);
    m_engine->add(request(1), true, counted());
    m_engine->add(request(2), true, counted());
    QTRY_VERIFY_WITH_TIMEOUT(rowsAre({1, 2, 3}), ScriptedServer::kPatienceMs);
    QVERIFY(other.move(3, 0) == 0);
    m_engine->move(2, 2, counted());
    QTRY_VERIFY_WITH_TIMEOUT(rowsAre({3, 1, 2}), ScriptedServer::kPatienceMs);
    QTRY_COMPARE_WITH_TIMEOUT(count(DownloadState::Done), 2, ScriptedServer::kPatienceMs);
    // Nobody does anything here.
    QVERIFY(other.remove(1));
    QTRY_VERIFY_WITH_TIMEOUT(rowsAre({3, 2}), ScriptedServer::kPatienceMs);
    compare();
}

QTEST_GUILESS_MAIN(TestEngineFrontend)
#include "tst_engine_frontend.moc"
