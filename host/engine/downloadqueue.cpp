// SPDX-License-Identifier: MIT
#include <host/engine/downloadqueue.h>

#include <host/engine/downloadsession.h>
#include <host/engine/queueddownload.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>

using namespace Qt::StringLiterals;

namespace
{

constexpr int kTickMs = 1000;
/// So many of those that wait are looked at for one whose server has room.
constexpr qsizetype kLooksAhead = 1000;

/// Why the rest of the download does not fit; none = it does, or nobody knows.
Failure lackOfRoom(const AbstractDownloadPersistentInfo &record)
{
    const qint64 needed = record.diskSpaceNotUsedYet();
    // Of a new download nothing is known that would have to fit.
    if (needed <= 0)
        return {};
    // Asked of the folder itself: in a container its mount may be listed nowhere.
    std::error_code error;
    const auto space = std::filesystem::space(QFile::encodeName(record.folder).toStdString(), error);
    if (error || space.available >= quint64(needed))
        return {};
    return Failure::make(
        Failure::Kind::NoRoom, Failure::Subject::of(record),
        u"it needs %1 more bytes, and the disk of \"%2\" has %3"_s.arg(
            QString::number(needed), QDir::toNativeSeparators(record.folder), QString::number(space.available)));
}

/// There before anything was asked or downloaded; where the server gives the name, that is known only later.
bool isNamedTargetThere(const QueuedDownload &download)
{
    const AbstractDownloadPersistentInfo &info = download.info;
    return info.hasFlag(AbstractDownloadPersistentInfo::RenameBlocked) && !info.isFinished()
        && info.bytesDownloaded(false) == 0 && download.isTargetThere();
}

QtHostAndPort serverOf(const AbstractDownloadPersistentInfo &info)
{
    return hostAndPortFromUrl(info.downloadUrl());
}

}

DownloadQueue::DownloadQueue(DownloadSession &session, const QueueOptions &options, QObject *parent)
    : QObject(parent)
    , m_session(session)
    , m_options(options)
{
    m_clock.start();
    m_tick.setParent(this);
    m_tick.setInterval(kTickMs);
    connect(&m_tick, &QTimer::timeout, this, &DownloadQueue::tick);
    connect(&m_session, &DownloadSession::finished, this, &DownloadQueue::onFinished);
    connect(&m_session, &DownloadSession::sendingRequestHeaders, this, &DownloadQueue::onRequest);
    connect(&m_session, &DownloadSession::performingFilesOperations, this, [this](qint64 id, bool performing) {
        if (QueuedDownload *const active = find(id))
            active->areFilesWorkedOn = performing;
    });
}

DownloadQueue::~DownloadQueue() = default;

void DownloadQueue::append(qint64 id, Job job)
{
    const auto isIt = [id](const Waiting &waiting) { return waiting.id == id; };
    if (m_active.contains(id) || std::any_of(m_waiting.cbegin(), m_waiting.cend(), isIt))
        return;
    m_waiting.enqueue({id, job, {}});
    fillSoon();
}

void DownloadQueue::pause()
{
    m_pausing = true;
    const QList<qint64> ids = activeIds();
    for (const qint64 id : ids) {
        QueuedDownload *const active = find(id);
        if (active && active->isRunning)
            m_session.stop(id);
        else if (active)
            end(*active, active->stopped());
    }
    fillSoon();
}

void DownloadQueue::decide(qint64 id, bool restart)
{
    QueuedDownload *const active = find(id);
    if (!active || !active->isAsking)
        return;
    active->isAsking = false;
    if (restart)
        tryAgain(id, Job::Restart);
    else
        endByItsError(*active);
}

void DownloadQueue::answerFileExists(qint64 id, int fileIndex, AbstractDownloadFileExistsAction action)
{
    if (QueuedDownload *const active = find(id))
        active->isFileLeft = action == AbstractDownloadFileExistsAction::Skip;
    m_session.fileExistsAction(id, fileIndex, action);
}

QList<qint64> DownloadQueue::activeIds() const
{
    return m_order;
}

DownloadStatus DownloadQueue::status(qint64 id) const
{
    const auto it = m_active.find(id);
    if (it == m_active.end())
        return {};
    const QueuedDownload &active = *it->second;
    if (active.isRunning)
        return m_session.status(id);
    DownloadStatus status;
    status.done = active.info.bytesDownloaded(false);
    if (!active.info.files.isEmpty()) {
        status.total = active.info.files.first().size;
        status.name = active.info.files.first().name;
        status.sections = active.info.files.first().sections;
    }
    status.retryInMs = active.retryTimer.isActive() ? active.retryTimer.remainingTime() : -1;
    return status;
}

QueuedDownload *DownloadQueue::find(qint64 id)
{
    const auto it = m_active.find(id);
    return it == m_active.end() ? nullptr : it->second.get();
}

void DownloadQueue::fill()
{
    if (m_pausing)
        endWaiting();
    while (!m_pausing && m_order.size() < std::max(1, m_options.mostAtOnce)) {
        const qsizetype next = nextToBegin();
        if (next == -1)
            break;
        begin(m_waiting.takeAt(next));
    }
    shareConnections();
    if (!isIdle())
        return;
    m_tick.stop();
    if (std::exchange(m_hasNews, false))
        Q_EMIT drained();
}

/// Place in the queue; -1 = there is none, or there are as many connections as may be, to their servers or at all.
qsizetype DownloadQueue::nextToBegin()
{
    const bool isNoneFree = isFull();
    for (qsizetype i = 0; i < std::min(m_waiting.size(), kLooksAhead); ++i) {
        Waiting &waiting = m_waiting[i];
        if (waiting.job == Job::FinishNow || !areConnectionsBounded())
            return i;
        if (isNoneFree)
            continue;
        if (waiting.server.host.isEmpty())
            waiting.server = serverOf(m_session.record(waiting.id).value_or(AbstractDownloadPersistentInfo()));
        if (!isFull(waiting.server))
            return i;
    }
    return -1;
}

bool DownloadQueue::areConnectionsBounded() const
{
    const NetworkUsageSettings &limits = m_session.usageOfAll();
    return limits.maximumConnections > 0 || limits.maximumConnectionsPerServer > 0;
}

/// A run that has begun and has no connection yet is about to have one.
bool DownloadQueue::isFull() const
{
    const qint64 most = m_session.usageOfAll().maximumConnections;
    if (most <= 0)
        return false;
    const auto beginning = std::count_if(m_order.cbegin(), m_order.cend(), [this](qint64 id) {
        return m_active.at(id)->isRunning && m_session.connectionsOf(id) == 0;
    });
    return m_session.connections() + beginning >= most;
}

/// The same of one server.
bool DownloadQueue::isFull(const QtHostAndPort &server) const
{
    const int most = m_session.usageOfAll().maximumConnectionsPerServer;
    if (most <= 0)
        return false;
    const auto beginning = std::count_if(m_order.cbegin(), m_order.cend(), [&](qint64 id) {
        const QueuedDownload &active = *m_active.at(id);
        return active.isRunning && active.server == server && m_session.connectionsOf(id) == 0;
    });
    return m_session.connectionsTo(server) + beginning >= most;
}

/// Never from inside the call that is the reason.
void DownloadQueue::fillSoon()
{
    m_hasNews = true;
    QMetaObject::invokeMethod(this, &DownloadQueue::fill, Qt::QueuedConnection);
}

void DownloadQueue::endWaiting()
{
    while (!m_waiting.isEmpty()) {
        DownloadOutcome outcome;
        outcome.id = m_waiting.dequeue().id;
        outcome.info = m_session.record(outcome.id).value_or(AbstractDownloadPersistentInfo());
        outcome.failure = Failure::make(Failure::Kind::Stopped, Failure::Subject::of(outcome.info));
        outcome.attempts = 0;
        Q_EMIT ended(outcome);
    }
}

void DownloadQueue::begin(const Waiting &waiting)
{
    auto made = std::make_unique<QueuedDownload>();
    QueuedDownload &active = *made;
    active.id = waiting.id;
    active.clock.start();
    const std::optional<AbstractDownloadPersistentInfo> record = m_session.record(waiting.id);
    Failure failure = record ? Failure() : m_session.whyNoRecord(waiting.id);
    active.options = record ? m_session.options(waiting.id) : DownloadOptions();
    active.info = record.value_or(AbstractDownloadPersistentInfo());
    active.sources = Sources(active.info);
    active.mostBytes = active.info.bytesDownloaded(false);
    active.retryTimer.setSingleShot(true);
    active.retryTimer.setTimerType(Qt::PreciseTimer); // people are told what is left of it
    connect(&active.retryTimer, &QTimer::timeout, this, [this, &active] { tryAgain(active.id, active.job); });
    m_active.emplace(waiting.id, std::move(made));
    m_order.append(waiting.id);
    if (!m_tick.isActive())
        m_tick.start();
    Q_EMIT began(waiting.id, active.info.url);
    // Whoever heard of it may have paused.
    if (!find(waiting.id))
        return;
    if (failure || !m_session.hold(waiting.id, &failure))
        end(active, failure);
    else
        tryAgain(waiting.id, waiting.job);
}

void DownloadQueue::tryAgain(qint64 id, Job job)
{
    QueuedDownload *const active = find(id);
    if (!active || active->isRunning)
        return;
    if (job == Job::Download && active->options.skipExisting && isNamedTargetThere(*active)) {
        endAsSkipped(*active);
        return;
    }
    Failure failure = job == Job::Download ? lackOfRoom(active->info) : Failure();
    if (failure) {
        end(*active, failure);
        return;
    }
    active->server =
        active->sources.areSeveral() ? hostAndPortFromUrl(active->sources.current()) : serverOf(active->info);
    if (job != Job::FinishNow && (isFull() || isFull(active->server))) {
        active->job = job;
        active->retryTimer.start(kTickMs);
        return;
    }
    if (!run(*active, job, &failure))
        end(*active, failure);
}

bool DownloadQueue::run(QueuedDownload &active, Job job, Failure *failure)
{
    active.watchdog = {};
    active.finding = Watchdog::Finding::Fine;
    active.requests = 0;
    active.isYoung = true;
    active.areFilesWorkedOn = false;
    active.job = job;
    if (job == Job::Restart) {
        active.mostBytes = 0;
        setChecksumResult(active, ChecksumResult::NotCompared);
    }
    ++active.attempts;
    // Whoever hears of the run's first signals finds it running; it may be over before the call is.
    active.isRunning = true;
    if (!beginRun(active, failure)) {
        active.isRunning = false;
        return false;
    }
    // A pause from inside the beginning found nothing to stop yet.
    if (active.isRunning && m_pausing)
        m_session.stop(active.id);
    share();
    return true;
}

bool DownloadQueue::beginRun(const QueuedDownload &active, Failure *failure)
{
    switch (active.job) {
    case Job::Download:
        return m_session.start(active.id, active.sources, failure);
    case Job::Restart:
        return m_session.restart(active.id, failure);
    case Job::FinishNow:
        return m_session.finishNow(active.id, failure);
    }
    Q_UNREACHABLE();
}

void DownloadQueue::tick()
{
    const QList<qint64> ids = activeIds();
    for (const qint64 id : ids) {
        QueuedDownload *const active = find(id);
        if (active && active->isRunning) {
            active->isYoung = false;
            watch(*active);
        }
    }
    share();
    // Those that run may need fewer connections now.
    if (areConnectionsBounded())
        fill();
}

void DownloadQueue::watch(QueuedDownload &active)
{
    if (active.finding != Watchdog::Finding::Fine)
        return;
    const DownloadStatus status = m_session.status(active.id);
    active.finding = active.watchdog.look(
        {elapsedMs(), status.done, status.allocated, status.connections, active.areFilesWorkedOn, active.requests});
    if (active.finding != Watchdog::Finding::Fine)
        m_session.stop(active.id);
}

void DownloadQueue::onRequest(qint64 id)
{
    QueuedDownload *const active = find(id);
    if (!active)
        return;
    ++active->requests;
    // One transfer more, as soon as it is there.
    if (active->share > 0)
        QMetaObject::invokeMethod(this, &DownloadQueue::shareSpeed, Qt::QueuedConnection);
}
