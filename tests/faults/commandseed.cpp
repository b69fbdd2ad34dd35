// SPDX-License-Identifier: MIT
#include <tests/faults/commandseed.h>

#include <tests/integration/remote/remoteengine.h>
#include <tests/support/sqlfile.h>
#include <tests/support/testfiles.h>

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>

#include <algorithm>
#include <csignal>
#include <utility>

using namespace Qt::StringLiterals;

namespace
{

using Kind = CommandStep::Kind;

constexpr int kPatienceMs = 30000;
constexpr int kRetryWaitMs = 5;
constexpr int kTries = 3;
constexpr qint64 kPlantedSize = 100;

/// Of what lies in the way of a file.
quint64 plantedSeed(const CommandFile &file)
{
    return ~file.content;
}

QString stemOf(int file)
{
    return CommandWorld::nameOf(file).section(u'.', 0, 0);
}

/// "file1 (2).bin.part" is of the file "file1.bin".
bool isOf(const QString &fileName, int file)
{
    return fileName.section(u'.', 0, 0).section(u' ', 0, 0) == stemOf(file);
}

}

void CommandScore::add(const CommandScore &other)
{
    seeds += other.seeds;
    commands += other.commands;
    refused += other.refused;
    kills += other.kills;
    comparisons += other.comparisons;
    questions += other.questions;
    files += other.files;
    early += other.early;
    for (auto it = other.transitions.cbegin(); it != other.transitions.cend(); ++it)
        transitions[it.key()] += it.value();
    for (auto it = other.wrongs.cbegin(); it != other.wrongs.cend(); ++it)
        wrongs[it.key()] += it.value();
}

CommandSeed::CommandSeed(quint32 seed)
    : m_seed(seed)
    , m_world(CommandWorld::fromSeed(seed))
    , m_server(m_world)
{
    m_busyTimer.setSingleShot(true);
    QObject::connect(&m_busyTimer, &QTimer::timeout, &m_busyTimer, [this] { m_busy.reset(); });
}

CommandSeed::~CommandSeed()
{
    m_watch.reset();
    killEngine();
}

/// Once it has ended it has no number.
void CommandSeed::killEngine()
{
    if (!m_engine || m_engine->processId() <= 0)
        return;
    m_dead.append(QString::number(m_engine->processId()));
    ::kill(pid_t(m_engine->processId()), SIGKILL);
}

QStringList CommandSeed::run(CommandScore &score)
{
    if (!m_server.isListening())
        find(u"no server"_s, u"no port could be opened"_s);
    QDir(m_dir.path()).mkdir(u"files"_s);
    for (int i = 0; i < m_world.files.size(); ++i) {
        const CommandFile &file = m_world.files.at(i);
        if (file.isInTheWay)
            TestFiles::writeFile(pathOf(CommandWorld::nameOf(i)), plantedSeed(file), kPlantedSize);
    }
    begin(m_world.canAsk);
    for (const CommandStep &step : m_world.steps) {
        pump(step.afterMs);
        if (m_findings.isEmpty())
            take(step);
    }
    if (m_findings.isEmpty())
        finish();
    m_score.seeds = 1;
    score.add(m_score);
    return m_findings;
}

QString CommandSeed::told() const
{
    return u"  "_s + m_world.inWords() + u"\n    "_s + m_history.join(u"\n    "_s);
}

QString CommandSeed::keep() const
{
    const QString kept = QDir::temp().filePath(u"plait-commands-%1"_s.arg(m_seed));
    QProcess::execute(u"cp"_s, {u"-aT"_s, m_dir.path(), kept});
    return kept;
}

void CommandSeed::begin(bool canAsk)
{
    m_history.append(u"an engine begins"_s);
    m_isClosed = false;
    m_isEnding = false;
    m_engine = std::make_unique<RemoteEngine>(QStringLiteral(ENGINE_SERVER));
    m_watch = std::make_unique<EngineWatch>(*m_engine,
                                            [this](const QString &kind, const QString &what) { find(kind, what); });
    listen();
    EngineOptions options;
    options.session.listPath = listPath();
    options.session.moduleFolders = {QStringLiteral(MODULE_FOLDER)};
    options.session.usage.maximumConnections = m_world.connections;
    options.queue.mostAtOnce = m_world.atOnce;
    options.queue.retryWaitMs = kRetryWaitMs;
    options.queue.mostTries = kTries;
    options.queue.canAsk = canAsk;
    m_engine->open(options, counted(u"open"_s, [this](const EngineAnswer &answer) {
                       if (!answer.isOk() || !answer.warnings.isEmpty())
                           find(u"open"_s, answer.failure.plain() + answer.warnings.value(0).plain());
                   }));
    m_watch->load();
    waitUntil(u"the first page"_s, [this] { return m_watch->isLoaded() || m_isClosed; });
    checkRowsOfBeginning();
}

void CommandSeed::listen()
{
    QObject::connect(m_engine.get(), &Engine::told, m_watch.get(), [this](const EngineNews &news) { note(news); });
    QObject::connect(m_engine.get(), &Engine::changed, m_watch.get(),
                     [this](const Snapshot &snapshot) { onChanged(snapshot); });
    QObject::connect(m_engine.get(), &Engine::added, m_watch.get(),
                     [this](const Snapshot &snapshot) { know(snapshot.id, fileOf(snapshot.url)); });
    QObject::connect(m_engine.get(), &Engine::asked, m_watch.get(),
                     [this](const Question &question) { onAsked(question); });
    QObject::connect(m_engine.get(), &Engine::answered, m_watch.get(), [this](qint64 id) {
        if (m_questions.removeIf([id](const Question &question) { return question.id == id; }) != 1)
            find(u"question"_s, u"question %1 is told to be answered and was not open"_s.arg(id));
    });
    QObject::connect(m_engine.get(), &Engine::closed, m_watch.get(), [this] {
        if (!m_isEnding)
            find(u"crash"_s, u"the engine ended by itself"_s);
        m_isClosed = true;
    });
}

void CommandSeed::end(bool isKilled)
{
    m_history.append(isKilled ? u"killed"_s : u"closed"_s);
    m_isEnding = true;
    if (isKilled)
        killEngine();
    else
        m_engine->close(counted(u"close"_s));
    m_score.kills += int(isKilled);
    if (!waitUntil(u"the end of the engine"_s, [this] { return m_isClosed && m_watch->isAnswered(); })) {
        m_watch->end();
        return;
    }
    m_removed += m_watch->removed();
    CommandScore seen;
    seen.comparisons = m_watch->comparisons();
    seen.transitions = m_watch->transitions();
    m_score.add(seen);
    m_watch.reset();
    if (!m_engine->hasEndedWell() && !isKilled)
        find(u"crash"_s, u"the engine's process did not end in order"_s);
    m_engine.reset();
    m_questions.clear();
    m_stopping.clear();
    m_begun.clear();
}

/// Nothing was lost that somebody was told of, and what is gone stays so.
void CommandSeed::checkRowsOfBeginning()
{
    QSet<qint64> seen;
    for (const Snapshot &row : m_watch->rows()) {
        seen.insert(row.id);
        if (m_removed.contains(row.id))
            find(u"back again"_s, u"download %1 was removed and is there"_s.arg(row.id));
        if (!m_known.contains(row.id) && m_addsUnheard-- <= 0)
            find(u"unknown row"_s, u"nobody added download %1"_s.arg(row.id));
        know(row.id, fileOf(row.url));
        if (!EngineWatch::isAtRest(row))
            find(u"at rest"_s, u"download %1 is not at rest when the engine begins"_s.arg(row.id));
    }
    const QList<qint64> ids = m_known.keys();
    for (const qint64 id : ids) {
        if (!seen.contains(id) && !isGone(id))
            find(u"lost"_s, u"download %1 is not there any more"_s.arg(id));
        else if (!seen.contains(id))
            m_removed.insert(id);
        else
            m_known[id].mayBeGone = false;
    }
    m_addsUnheard = 0;
}

void CommandSeed::pump(int ms)
{
    const QDeadlineTimer deadline(ms);
    do {
        QTimer wake;
        wake.start(std::max(1, int(deadline.remainingTime())));
        m_loop.processEvents(ms > 0 ? QEventLoop::WaitForMoreEvents : QEventLoop::AllEvents);
    } while (!deadline.hasExpired());
}

bool CommandSeed::waitUntil(const QString &what, const std::function<bool()> &condition)
{
    const QDeadlineTimer deadline(kPatienceMs);
    QTimer wake;
    wake.start(kPatienceMs);
    while (!condition()) {
        if (deadline.hasExpired()) {
            find(u"hangs"_s, u"%1 does not come"_s.arg(what));
            return false;
        }
        m_loop.processEvents(QEventLoop::WaitForMoreEvents);
    }
    return true;
}

void CommandSeed::note(const EngineNews &news)
{
    using News = EngineNews::Kind;
    if (news.kind == News::Changed)
        m_history.append(u"    %1 %2, %3 of %4 bytes%5"_s.arg(
            QString::number(news.id), QString(downloadStates().nameOf(news.snapshot->state)),
            QString::number(news.snapshot->done()), QString::number(news.snapshot->size()),
            news.snapshot->failure ? u": failure %1 %2"_s.arg(QString::number(int(news.snapshot->failure.kind)),
                                                              news.snapshot->failure.plain())
                                   : QString()));
    else if (news.kind == News::Warned)
        m_history.append(u"    %1 is warned of: kind %2, %3"_s.arg(
            QString::number(news.id), QString::number(int(news.warning->kind)), news.warning->failure.plain()));
    else if (news.kind != News::Answered && news.kind != News::TotalsChanged)
        m_history.append(u"    %1: news of kind %2"_s.arg(news.id).arg(int(news.kind)));
}

void CommandSeed::onChanged(const Snapshot &snapshot)
{
    if (snapshot.state == DownloadState::Waiting)
        m_resumed.remove(snapshot.id);
    if (snapshot.state == DownloadState::Running)
        m_begun.insert(snapshot.id);
    if (!EngineWatch::isAtRest(snapshot))
        return;
    const bool hasBegun = m_begun.remove(snapshot.id);
    if (m_stopping.remove(snapshot.id) && hasBegun && snapshot.state == DownloadState::Failed)
        find(u"not paused"_s, u"download %1 was told to pause and has failed"_s.arg(snapshot.id));
}

void CommandSeed::onAsked(const Question &question)
{
    ++m_score.questions;
    m_questions.append(question);
    if (m_answersAll)
        m_engine->answer(question.id,
                         question.kind == Question::Kind::FileExists ? Question::Choice::Rename
                                                                     : Question::Choice::FromTheBeginning,
                         counted(u"answer"_s));
}

void CommandSeed::finish()
{
    m_history.append(u"the server is soothed"_s);
    m_busy.reset();
    end(false);
    if (!m_findings.isEmpty())
        return;
    m_server.soothe();
    m_answersAll = true;
    begin(true);
    resumeAll();
    if (m_findings.isEmpty())
        checkRows();
    end(false);
    if (!m_findings.isEmpty())
        return;
    checkFiles();
    checkClaims();
}

void CommandSeed::resumeAll()
{
    const auto table = [](QLatin1StringView name) { return OptionTable::ofHost().find(name); };
    OptionChanges changes;
    changes.values.give(*table("on-changed"_L1), {u"restart"_s, {}});
    changes.values.give(*table("on-unresumable"_L1), {u"restart"_s, {}});
    for (const Snapshot &row : m_watch->rows())
        m_engine->setOptions(row.id, changes, judged(Kind::SetOptions, row.id));
    m_engine->setMostAtOnce(int(m_world.files.size()), counted(u"set most at once"_s));
    bool isResumed = false;
    m_engine->resumeAll(counted(u"resume all"_s, [this, &isResumed](const EngineAnswer &answer) {
        m_resumed = QSet<qint64>(answer.ids.cbegin(), answer.ids.cend());
        isResumed = true;
    }));
    waitUntil(u"the end of all downloads"_s, [this, &isResumed] {
        const QList<Snapshot> &rows = m_watch->rows();
        return isResumed && m_resumed.isEmpty() && std::all_of(rows.cbegin(), rows.cend(), &EngineWatch::isAtRest);
    });
}

void CommandSeed::checkRows()
{
    int unanswered = 0;
    for (const Snapshot &row : m_watch->rows()) {
        ++unanswered;
        m_engine->snapshot(row.id, counted(u"snapshot"_s, [this, &unanswered](const EngineAnswer &answer) {
                               --unanswered;
                               if (answer.isOk() && answer.snapshots.first().details)
                                   checkFileOf(answer.snapshots.first(), answer.snapshots.first().details->path);
                               else
                                   find(u"snapshot"_s, answer.failure.plain());
                           }));
    }
    waitUntil(u"the last snapshots"_s, [&unanswered] { return unanswered == 0; });
}

void CommandSeed::checkFileOf(const Snapshot &row, const QString &path)
{
    const Known &known = m_known[row.id];
    const QList<Known> overwriters = overwritersOf(row);
    const auto isAny = [&](bool Known::*what) {
        return known.*what || std::any_of(overwriters.cbegin(), overwriters.cend(), [what](const Known &other) {
                   return other.*what;
               });
    };
    const CommandFile &file = m_world.files.at(known.file);
    const QString name = u"download %1 of %2"_s.arg(QString::number(row.id), CommandWorld::nameOf(known.file));
    const bool isShortOne = known.mayBeEarly && row.failure.kind == Failure::Kind::ChecksumDiffers;
    m_paths.insert(row.id, path);
    if (row.state != DownloadState::Done && !isShortOne) {
        find(u"not done"_s,
             u"%1 is %2 at the end (failure %3 %4)"_s.arg(name, QString(downloadStates().nameOf(row.state)),
                                                          QString::number(int(row.failure.kind)), row.failure.plain()));
        return;
    }
    if (isAny(&Known::mayLackFile) && !QFileInfo::exists(path))
        return;
    const QByteArray bytes = TestFiles::readFile(path);
    const bool isWhole = file.isVersion(bytes);
    m_score.files += 1;
    m_score.early += int(!isWhole);
    // Addresses are not told apart by what names their files: that is said of what came from several of them.
    const bool isUnproven = row.assurance.doubt == Evidence::Doubt::SeveralAddresses && file.isMixture(bytes);
    if (!isWhole && !isUnproven && !(isAny(&Known::mayBeEarly) && file.isBeginning(bytes)))
        find(u"wrong file"_s,
             u"%1: \"%2\" with %3 bytes is not what the server has"_s.arg(name, path).arg(bytes.size()));
}

/// Whose files may have taken the place of this one's, as somebody wanted: also while that was incomplete. Some have
/// been removed by now, and their files with them.
QList<CommandSeed::Known> CommandSeed::overwritersOf(const Snapshot &row) const
{
    using Reaction = AbstractDownloadExistingFileReaction;
    const int file = m_known.value(row.id).file;
    const auto reaction = Reaction(m_world.files.at(file).onExists);
    QList<Known> overwriters;
    if (reaction != Reaction::Overwrite && reaction != Reaction::Ask)
        return overwriters;
    for (auto it = m_known.cbegin(); it != m_known.cend(); ++it) {
        if (it.key() != row.id && it->file == file)
            overwriters.append(*it);
    }
    return overwriters;
}

/// What downloads have, what lay there before, and what removed ones left behind: nothing else.
void CommandSeed::checkFiles()
{
    const QStringList names = QDir(m_dir.filePath(u"files"_s)).entryList(QDir::Files);
    const QList<QString> paths = m_paths.values();
    for (const QString &name : names) {
        int file = 0;
        while (file < m_world.files.size() && !isOf(name, file))
            ++file;
        if (file == m_world.files.size()) {
            find(u"foreign file"_s, u"there is a file \"%1\", which nobody asked for"_s.arg(name));
            continue;
        }
        const CommandFile &served = m_world.files.at(file);
        const bool isPlanted = served.isInTheWay
            && TestFiles::readFile(pathOf(name)) == TestFiles::content(plantedSeed(served), 0, kPlantedSize);
        if (!isPlanted && !paths.contains(pathOf(name)) && !m_leftBehind.contains(file))
            find(u"orphan"_s, u"there is a file \"%1\", and it is no download's"_s.arg(name));
    }
}

/// Whoever was killed owns nothing, whatever the list says.
void CommandSeed::checkClaims()
{
    const SqlFile list(listPath());
    const QVariant claims =
        list.value(u"SELECT count(*) FROM downloads WHERE owner_pid IS NOT NULL AND owner_pid NOT IN (%1)"_s.arg(
            m_dead.join(u',')));
    if (claims.isNull() || claims.toInt() != 0)
        find(u"claim"_s,
             u"%1 downloads are claimed when all has ended (%2)"_s.arg(claims.toString(), list.errorText()));
}

int CommandSeed::fileOf(const QUrl &url) const
{
    for (int i = 0; i < m_world.files.size(); ++i) {
        if (url.fileName() == CommandWorld::nameOf(i))
            return i;
    }
    return 0;
}

QString CommandSeed::pathOf(const QString &name) const
{
    return QDir(m_dir.filePath(u"files"_s)).filePath(name);
}

QString CommandSeed::listPath() const
{
    return m_dir.filePath(u"list.sqlite"_s);
}

void CommandSeed::find(const QString &kind, const QString &what)
{
    ++m_score.wrongs[kind];
    m_history.append(u"FOUND %1: %2"_s.arg(kind, what));
    m_findings.append(u"%1: %2"_s.arg(kind, what));
}
