// SPDX-License-Identifier: MIT
#include <host/engine/localengine.h>

#include <host/engine/commandvalues.h>
#include <host/engine/downloadsession.h>
#include <host/storage/storethread.h>
#include <inet/qt/download/framework/runguard.h>

#include <utility>

using namespace Qt::StringLiterals;

namespace
{

using Kind = EngineCommand::Kind;

/// What nobody needs a session for.
bool isOfTheListAlone(Kind kind)
{
    return kind == Kind::Snapshot || kind == Kind::Snapshots || kind == Kind::Questions || kind == Kind::Overview;
}

/// They say where to look in a page, and no server hears of them: with one or another it is the same download.
void dropFragments(DownloadRequest &request)
{
    request.url.setFragment({});
    for (QUrl &mirror : request.mirrors)
        mirror.setFragment({});
}

Failure wrongState(Clause::Kind how)
{
    return Failure::make(Failure::Kind::WrongState, {}, how);
}

}

LocalEngine::LocalEngine(QObject *parent)
    : Engine(parent)
{
    m_tick.setInterval(kNewsIntervalMs);
    connect(&m_tick, &QTimer::timeout, this, &LocalEngine::tick);
    m_othersTimer.setInterval(kOthersIntervalMs);
    connect(&m_othersTimer, &QTimer::timeout, this,
            [this] { list().askOthersChanges(this, [this](qint64 changes) { tellOfOthers(changes); }); });
}

LocalEngine::~LocalEngine() = default;

void LocalEngine::transmit(const EngineCommand &command)
{
    m_isEndAskedFor = m_isEndAskedFor || command.kind == Kind::Close;
    m_commands.enqueue(command);
    if (m_commands.last().request)
        dropFragments(*m_commands.last().request);
    QMetaObject::invokeMethod(this, &LocalEngine::work, Qt::QueuedConnection);
}

/// One at a time: what happens meanwhile is not to wait for a thousand of them.
void LocalEngine::work()
{
    if (m_slice) {
        doSlice();
        QMetaObject::invokeMethod(this, &LocalEngine::work, Qt::QueuedConnection);
    } else if (!m_commands.isEmpty()) {
        run(m_commands.dequeue());
    }
    flush();
}

/// The first at once.
void LocalEngine::inSlices(Slice slice)
{
    m_slice = std::move(slice);
    doSlice();
    if (m_slice)
        QMetaObject::invokeMethod(this, &LocalEngine::work, Qt::QueuedConnection);
}

/// It may be followed by slices of another kind. Whoever wants the engine to end does not wait for them.
void LocalEngine::doSlice()
{
    Slice slice = std::exchange(m_slice, nullptr);
    if (slice())
        m_slice = std::move(slice);
    if (m_isEndAskedFor && std::exchange(m_slice, nullptr) && m_sliced)
        refuse(*std::exchange(m_sliced, std::nullopt), Failure::make(Failure::Kind::Stopped, {}));
}

void LocalEngine::tell(const EngineNews &news)
{
    m_news.enqueue(news);
    if (m_news.size() == 1)
        QMetaObject::invokeMethod(this, &LocalEngine::flush, Qt::QueuedConnection);
}

/// Whoever hears of something may give commands, and destroy the engine.
void LocalEngine::flush()
{
    const RunGuard lives(this);
    if (std::exchange(m_isFlushing, true))
        return;
    while (lives && !m_news.isEmpty())
        deliver(m_news.dequeue());
    if (lives)
        m_isFlushing = false;
}

void LocalEngine::answer(const EngineCommand &command, EngineAnswer given)
{
    given.number = command.number;
    EngineNews news{EngineNews::Kind::Answered};
    news.answer = given;
    tell(news);
}

void LocalEngine::refuse(const EngineCommand &command, const Failure &failure)
{
    EngineAnswer given;
    given.failure = failure;
    answer(command, given);
}

void LocalEngine::warn(qint64 id, const Warning &warning)
{
    EngineNews news{EngineNews::Kind::Warned, id};
    news.warning = warning;
    tell(news);
}

Failure LocalEngine::noSuch(qint64 id)
{
    const Failure failure = list().lastFailure();
    return failure ? failure : Failure::make(Failure::Kind::NoSuchDownload, Failure::Subject::of(id));
}

void LocalEngine::run(const EngineCommand &command)
{
    if (isRefused(command))
        return;
    switch (command.kind) {
    case Kind::Open:
        return open(command);
    case Kind::Prepare:
        return prepared(command);
    case Kind::Add:
        return add(command);
    case Kind::Pause:
        return pause(command);
    case Kind::Resume:
        return begin(command, DownloadQueue::Job::Download);
    case Kind::Remove:
        return remove(command);
    case Kind::Restart:
        return restart(command);
    case Kind::FinishNow:
        return finishNow(command);
    case Kind::Check:
        return check(command);
    case Kind::Query:
        return query(command);
    case Kind::SetUrl:
        return setUrl(command);
    case Kind::Move:
        return move(command);
    case Kind::SetLimits:
        return setLimits(command);
    case Kind::SetOptions:
        return setOptions(command);
    case Kind::PauseAll:
        return pauseAll(command);
    case Kind::ResumeAll:
        return resumeAll(command);
    case Kind::SetGlobalLimits:
        return setGlobalLimits(command);
    case Kind::SetMostAtOnce:
        return setMostAtOnce(command);
    case Kind::TakeStream:
        return takeStream(command);
    case Kind::Snapshot:
        return answerSnapshot(command);
    case Kind::Snapshots:
        return answerPage(command);
    case Kind::Questions:
        return listQuestions(command);
    case Kind::Overview:
        return answerOverview(command);
    case Kind::Answer:
        return answerQuestion(command);
    case Kind::Close:
        return close(command);
    }
    refuse(command, wrongState(Clause::Kind::UnknownCommand));
}

/// What cannot be done as the engine is now; the rest finds what it needs.
bool LocalEngine::isRefused(const EngineCommand &command)
{
    if (command.kind == Kind::Open || command.kind == Kind::Close)
        return false;
    Failure failure;
    if (!m_options || (!m_list && !m_session))
        refuse(command, wrongState(Clause::Kind::EngineNotOpen));
    else if (m_isClosing)
        refuse(command, wrongState(Clause::Kind::EngineEnding));
    else if (const Clause problem = CommandValues::problem(command); !problem.isEmpty())
        refuse(command, Failure::make(Failure::Kind::ValueUnusable, Failure::Subject::of(command.id), problem));
    else if (!isOfTheListAlone(command.kind) && !bringUp(&failure))
        refuse(command, failure);
    else
        return false;
    return true;
}

void LocalEngine::open(const EngineCommand &command)
{
    if (m_options) {
        refuse(command, wrongState(Clause::Kind::EngineOpen));
        return;
    }
    m_options = command.options.value_or(EngineOptions());
    if (!openList()) {
        refuse(command, list().lastFailure());
        m_list.reset();
        return;
    }
    m_listWarning = m_list->warning();
    answer(command, {.warnings = m_listWarning ? QList<Failure>{m_listWarning} : QList<Failure>()});
}

/// What was said of the list when it was opened alone is not said again.
void LocalEngine::prepared(const EngineCommand &command)
{
    QList<Failure> warnings = m_session->warnings();
    warnings.removeAll(m_listWarning);
    answer(command, {.warnings = warnings});
}

bool LocalEngine::openList()
{
    auto list = std::make_unique<StoreThread>();
    const bool isOpen = list->open(
        {.path = m_options->session.listPath, .isKept = m_options->session.isListKept, .isForReading = true});
    m_list = std::move(list);
    return isOpen;
}

/// The session has a connection of its own to the list, and one is enough.
bool LocalEngine::bringUp(Failure *failure)
{
    if (m_session)
        return true;
    const qint64 rows = watchedRows();
    m_list.reset();
    auto session = std::make_unique<DownloadSession>();
    if (!session->open(m_options->session, failure)) {
        session.reset();
        openList();
        watchAnew(rows);
        return false;
    }
    m_session = std::move(session);
    watchAnew(rows);
    m_queue = std::make_unique<DownloadQueue>(*m_session, m_options->queue);
    m_check = std::make_unique<ResourceCheck>(*m_session);
    connectAll();
    return true;
}

void LocalEngine::connectAll()
{
    connect(m_queue.get(), &DownloadQueue::warned, this, [this](qint64 id, const Failure &what) {
        warn(id, {Warning::Kind::Failure, what});
    });
    connect(m_queue.get(), &DownloadQueue::outOfHours, this, [this](const QDateTime &until, qint64 ms) {
        warn(0, {.kind = Warning::Kind::OutOfHours, .inMs = ms, .until = until});
    });
    connect(m_session.get(), &DownloadSession::fileExistsActionRequired, this, &LocalEngine::onFileExists);
    connect(m_session.get(), &DownloadSession::queried, this, &LocalEngine::onQueried);
    connect(m_session.get(), &DownloadSession::finished, this, &LocalEngine::onLookedUp);
    connect(m_session.get(), &DownloadSession::closed, this, &LocalEngine::onClosed);
    connect(m_queue.get(), &DownloadQueue::stateChanged, this, &LocalEngine::onStateChanged);
    connect(m_queue.get(), &DownloadQueue::retrying, this, &LocalEngine::warn);
    connect(m_queue.get(), &DownloadQueue::decisionRequired, this, &LocalEngine::onDecision);
    connect(m_queue.get(), &DownloadQueue::ended, this, &LocalEngine::onEnded);
    connect(m_queue.get(), &DownloadQueue::drained, this, &LocalEngine::onDrained);
    connect(m_check.get(), &ResourceCheck::checked, this, &LocalEngine::onChecked);
}

/// Downloads end first, then the session, whose end is the engine's.
void LocalEngine::close(const EngineCommand &command)
{
    answer(command);
    if (std::exchange(m_isClosing, true))
        return;
    endLookups();
    if (m_session && !m_queue->isIdle())
        m_queue->close();
    else
        onDrained();
}

void LocalEngine::onDrained()
{
    if (!m_isClosing)
        return;
    if (m_session)
        m_session->close();
    else
        onClosed();
}

void LocalEngine::onClosed()
{
    m_tick.stop();
    m_othersTimer.stop();
    tell({EngineNews::Kind::Closed});
}
