// SPDX-License-Identifier: MIT
#include <host/engine/downloadqueue.h>

#include <host/engine/downloadsession.h>
#include <host/engine/queueddownload.h>
#include <host/storage/diskroom.h>
#include <host/storage/replacedfile.h>
#include <inet/qt/download/framework/qtappdefaultlogger.h>
#include <inet/qt/download/framework/qtapploggertextstream.h>

#include <algorithm>
#include <limits>
#include <utility>

using namespace Qt::StringLiterals;

namespace
{

constexpr int kTickMs = 1000;
/// Readers wait for what comes.
constexpr int kStreamTickMs = 50;
constexpr qint64 kSecondMs = 1000;
/// So many of those that wait are looked at for one whose server has room.
constexpr qsizetype kLooksAhead = 1000;

/// Why the rest of the download does not fit; none = it does, or nobody knows.
Failure lackOfRoom(const AbstractDownloadPersistentInfo &record)
{
    const qint64 needed = record.diskSpaceNotUsedYet();
    // Of a new download nothing is known that would have to fit.
    if (needed <= 0)
        return {};
    const qint64 available = DiskRoom::freeIn(record.folder);
    if (available < 0 || available >= needed)
        return {};
    Failure failure = Failure::make(Failure::Kind::NoRoom, Failure::Subject::of(record));
    failure.room = {needed, available};
    return failure;
}

bool isListInUse(const Failure &failure)
{
    return failure.kind == Failure::Kind::CannotChangeList && failure.cause.kind == Clause::Kind::ListInUse;
}

/// There before anything was asked or downloaded; where the server gives the name, that is known only later.
bool isNamedTargetThere(const QueuedDownload &download)
{
    const AbstractDownloadPersistentInfo &info = download.info;
    return info.hasFlag(AbstractDownloadPersistentInfo::RenameBlocked) && !info.isFinished()
        && info.bytesDownloaded(false) == 0 && download.isTargetThere() && !ReplacedFile::isPlanned(info);
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
    Q_ASSERT(session.thread() == thread());
    m_clock.start();
    m_tick.setParent(this);
    m_tick.setInterval(kTickMs);
    connect(&m_tick, &QTimer::timeout, this, &DownloadQueue::tick);
    m_streamTick.setParent(this);
    m_streamTick.setInterval(kStreamTickMs);
    connect(&m_streamTick, &QTimer::timeout, this, &DownloadQueue::watchStreams);
    connect(&m_session, &DownloadSession::finished, this, &DownloadQueue::onFinished);
    connect(&m_session, &DownloadSession::warned, this, &DownloadQueue::warn);
    connect(&m_session, &DownloadSession::cannotGoOn, this, &DownloadQueue::onGivenUp);
    connect(&m_session, &DownloadSession::sendingRequestHeaders, this, &DownloadQueue::onRequest);
    connect(&m_session, &DownloadSession::performingFilesOperations, this, &DownloadQueue::onFilesWorkedOn);
}

DownloadQueue::~DownloadQueue() = default;

std::optional<DownloadState> DownloadQueue::state(qint64 id) const
{
    const auto it = m_entries.find(id);
    return it == m_entries.end() ? std::nullopt : std::optional(it->second.state);
}

DownloadStatus DownloadQueue::status(qint64 id) const
{
    const auto it = m_entries.find(id);
    if (it == m_entries.end() || !it->second.active)
        return {};
    const QueuedDownload &active = *it->second.active;
    if (isRunning(active))
        return m_session.status(id);
    DownloadStatus status;
    status.done = active.info.bytesDownloaded(false);
    if (!active.info.files.isEmpty()) {
        status.total = active.info.files.first().size;
        status.name = active.info.files.first().name;
        status.sections = active.info.files.first().sections;
    }
    if (it->second.state == DownloadState::Resting)
        status.retryInMs = active.rest == RestReason::Hours ? msToHours() : active.restTimer.remainingTime();
    return status;
}

DownloadQueue::Entry *DownloadQueue::entryOf(qint64 id)
{
    const auto it = m_entries.find(id);
    return it == m_entries.end() ? nullptr : &it->second;
}

QueuedDownload *DownloadQueue::find(qint64 id)
{
    const Entry *const entry = entryOf(id);
    return entry ? entry->active.get() : nullptr;
}

QueuedDownload *DownloadQueue::findIn(qint64 id, DownloadState state)
{
    const Entry *const entry = entryOf(id);
    return entry && entry->state == state ? entry->active.get() : nullptr;
}

bool DownloadQueue::isRunning(const QueuedDownload &active) const
{
    return m_entries.at(active.id).state == DownloadState::Running;
}

void DownloadQueue::transition(qint64 id, DownloadState to)
{
    Entry &entry = m_entries.at(id);
    const DownloadState from = entry.state;
    const QLatin1StringView name = downloadStates().nameOf(to);
    Q_ASSERT_X(downloadStates().allows(from, to), downloadStates().nameOf(from).data(), name.data());
    entry.state = to;
    if (entry.active)
        entry.active->forgetReasons();
    // What has left the queue is in the list until somebody has taken it out of that.
    if (to != DownloadState::Removed)
        QtAppLoggerTextStream(QtAppDefaultLogger::instance(), kStateLogLevel, true)
            << "Download " << id << " in the queue: " << downloadStates().nameOf(from) << " -> " << name;
    m_outbox.put([this, id, from, to] { Q_EMIT stateChanged(id, from, to); });
}

void DownloadQueue::fill()
{
    const Outbox::Scope scope(m_outbox);
    m_isFillDue = false;
    const bool hasPlace = m_life == Life::Open && isPlaceFree();
    if (const qsizetype next = hasPlace ? nextToBegin() : -1; next != -1) {
        begin(m_waiting.takeAt(next));
        // Whether there is a place for another shows once this one runs.
        m_outbox.put([this] { fill(); });
        return;
    }
    shareConnections();
    keepHours();
    if (!isIdle())
        return;
    m_tick.stop();
    m_outbox.put([this] { tellDrained(); });
}

/// Whoever heard of something just now may have appended more.
void DownloadQueue::tellDrained()
{
    if (isIdle() && std::exchange(m_hasNews, false))
        Q_EMIT drained();
}

/// Of those that run at once.
bool DownloadQueue::isPlaceFree() const
{
    const auto taken = std::count_if(m_order.cbegin(), m_order.cend(),
                                     [this](qint64 id) { return m_entries.at(id).active->rest != RestReason::Owner; });
    return taken < m_options.places();
}

/// Place in the queue; -1 = there is none, it is not the hour, or there are as many connections as may be, to their
/// servers or at all.
qsizetype DownloadQueue::nextToBegin()
{
    const bool isTime = isInHours();
    const bool isNoneFree = isFull();
    for (qsizetype i = 0; i < std::min(m_waiting.size(), kLooksAhead); ++i) {
        const qint64 id = m_waiting.at(i);
        Entry &entry = m_entries.at(id);
        if (entry.job == Job::FinishNow)
            return i;
        if (!isTime)
            continue;
        if (!areConnectionsBounded())
            return i;
        if (isNoneFree)
            continue;
        if (entry.server.host.isEmpty())
            entry.server = m_session.serverOf(id);
        if (!isFull(entry.server))
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
        return m_entries.at(id).state == DownloadState::Running && m_session.connectionsOf(id) == 0;
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
        const QueuedDownload &active = *m_entries.at(id).active;
        return isRunning(active) && active.server == server && m_session.connectionsOf(id) == 0;
    });
    return m_session.connectionsTo(server) + beginning >= most;
}

/// Never from inside the call that is the reason.
void DownloadQueue::fillSoon()
{
    m_hasNews = true;
    if (!std::exchange(m_isFillDue, true))
        QMetaObject::invokeMethod(this, &DownloadQueue::fill, Qt::QueuedConnection);
}

void DownloadQueue::begin(qint64 id)
{
    Failure failure;
    const bool isHeld = m_session.hold(id, &failure);
    const Lease lease = isHeld ? *m_session.lease(id) : unclaimed(id, &failure);
    makeActive(m_entries.at(id), id, lease);
    m_order.append(id);
    if (!m_tick.isActive())
        m_tick.start();
    m_outbox.put([this, id, url = lease.record.url] { Q_EMIT began(id, url); });
    // Whoever hears of it may pause it.
    m_outbox.put([this, id, failure] {
        QueuedDownload *const active = findIn(id, DownloadState::Waiting);
        if (active && failure)
            endUnlessItPasses(*active, failure, active->job);
        else if (active)
            tryAgain(id, active->job);
    });
}

/// What can be said of a download that is not ours. @param failure why it is not; the list may have none of that number
Lease DownloadQueue::unclaimed(qint64 id, Failure *failure)
{
    Lease lease;
    const std::optional<AbstractDownloadPersistentInfo> record = m_session.record(id);
    if (!record) {
        *failure = m_session.whyNoRecord(id);
        return lease;
    }
    lease.record = *record;
    lease.options = m_session.options(id);
    return lease;
}

/// What it begins with.
void DownloadQueue::setLease(QueuedDownload &active, const Lease &lease)
{
    active.options = lease.options;
    active.info = lease.record;
    active.sources = Sources(active.info);
    active.mostBytes = active.info.bytesDownloaded(false);
}

/// False where it is not ours, as it was when it was to begin.
bool DownloadQueue::holdIfFree(QueuedDownload &active, Failure *failure)
{
    if (m_session.lease(active.id))
        return true;
    if (!m_session.hold(active.id, failure))
        return false;
    m_isListInUseTold = false;
    setLease(active, *m_session.lease(active.id));
    return true;
}

/// A list that somebody else has to himself is free again sooner or later; people hear of it once.
void DownloadQueue::endUnlessItPasses(QueuedDownload &active, const Failure &failure, Job job)
{
    if (awaitOwnersEnd(active, failure, job))
        return;
    if (!isListInUse(failure) || active.isCalledOff()) {
        end(active, failure);
        return;
    }
    if (!std::exchange(m_isListInUseTold, true))
        warn(active.id, failure);
    rest(active, RestReason::Time, kTickMs, job);
}

/// A process that nobody here can see may have died with its container, and is the owner until its lease has passed.
/// One that lives renews that, and is not waited for twice.
bool DownloadQueue::awaitOwnersEnd(QueuedDownload &active, const Failure &failure, Job job)
{
    const bool mayEnd = failure.kind == Failure::Kind::OwnedByOther && failure.secondsLeft > 0;
    if (!mayEnd || active.wasOwnerAwaited || active.isCalledOff())
        return false;
    active.wasOwnerAwaited = true;
    const qint64 ms = (failure.secondsLeft + 1) * kSecondMs;
    Warning wait{Warning::Kind::Retrying, failure, Warning::Next::Again, 0, ms, {}};
    wait.failure.subject.url = active.info.url.adjusted(QUrl::RemovePassword);
    m_outbox.put([this, id = active.id, wait] { Q_EMIT retrying(id, wait); });
    rest(active, RestReason::Owner, ms, job);
    return true;
}

void DownloadQueue::makeActive(Entry &entry, qint64 id, const Lease &lease)
{
    entry.active = std::make_unique<QueuedDownload>();
    QueuedDownload &active = *entry.active;
    active.id = id;
    active.job = entry.job;
    active.clock.start();
    setLease(active, lease);
    active.reading.stream = m_session.stream(id);
    follow(active);
    active.restTimer.setParent(this);
    active.restTimer.setSingleShot(true);
    active.restTimer.setTimerType(Qt::PreciseTimer); // people are told what is left of it
    connect(&active.restTimer, &QTimer::timeout, this, [this, &active] { tryAgain(active.id, active.job); });
}

/// Of one that waits for its turn, rests, or was asked about.
void DownloadQueue::tryAgain(qint64 id, Job job)
{
    const Outbox::Scope scope(m_outbox);
    QueuedDownload *const active = find(id);
    if (!active || isRunning(*active))
        return;
    if (active->rest == RestReason::Owner && !isPlaceFree()) {
        rest(*active, RestReason::Owner, kTickMs, job);
        return;
    }
    Failure failure;
    if (!holdIfFree(*active, &failure)) {
        endUnlessItPasses(*active, failure, job);
        return;
    }
    if (job == Job::Download && active->options.skipExisting && isNamedTargetThere(*active)) {
        endAsSkipped(*active);
        return;
    }
    // What is streamed never lies on the disk as a whole.
    const bool mayLackRoom = job == Job::Download && !active->reading.stream;
    failure = mayLackRoom ? lackOfRoom(active->info) : Failure();
    if (failure) {
        end(*active, failure);
        return;
    }
    active->server =
        active->sources.areSeveral() ? hostAndPortFromUrl(active->sources.current()) : serverOf(active->info);
    if (job != Job::FinishNow && restOutOfHours(*active, job))
        return;
    if (job != Job::FinishNow && (isFull() || isFull(active->server)))
        rest(*active, RestReason::Time, kTickMs, job);
    else if (!run(*active, job, &failure))
        endUnlessItPasses(*active, failure, job);
}

/// Until somebody sees that it may go on.
void DownloadQueue::rest(QueuedDownload &active, RestReason reason, Job job)
{
    if (m_entries.at(active.id).state != DownloadState::Resting)
        transition(active.id, DownloadState::Resting);
    active.job = job;
    active.rest = reason;
    active.restTimer.stop();
}

void DownloadQueue::rest(QueuedDownload &active, RestReason reason, qint64 ms, Job job)
{
    rest(active, reason, job);
    active.restTimer.start(int(std::min<qint64>(ms, std::numeric_limits<int>::max())));
}

bool DownloadQueue::run(QueuedDownload &active, Job job, Failure *failure)
{
    active.run = {};
    active.job = job;
    if (job == Job::Restart) {
        active.mostBytes = 0;
        setChecksumResult(active, ChecksumResult::NotCompared);
    }
    ++active.attempts;
    // Whoever hears of the run's first signals finds it running.
    transition(active.id, DownloadState::Running);
    if (!beginRun(active, failure))
        return false;
    // A pause from inside the beginning found nothing to stop yet.
    if (active.isCalledOff())
        m_session.stop(active.id);
    if (active.reading.stream)
        boundForReader(active);
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
    const Outbox::Scope scope(m_outbox);
    const QList<qint64> ids = activeIds();
    for (const qint64 id : ids) {
        if (QueuedDownload *const active = findIn(id, DownloadState::Running)) {
            ++active->run.ticks;
            watch(*active);
        }
    }
    share();
    keepHours();
    // Those that run may need fewer connections now, and the hours may have come.
    if (areConnectionsBounded() || !m_options.schedule.isEmpty())
        fill();
}

void DownloadQueue::watch(QueuedDownload &active)
{
    QueuedDownload::Run &run = active.run;
    if (run.finding != Watchdog::Finding::Fine)
        return;
    const DownloadStatus status = m_session.status(active.id);
    run.finding = run.watchdog.look(
        {elapsedMs(), status.done, status.allocated, status.connections, run.areFilesWorkedOn, run.requests});
    if (run.finding != Watchdog::Finding::Fine)
        m_session.stop(active.id);
}

void DownloadQueue::onGivenUp(qint64 id, const Failure &why)
{
    if (QueuedDownload *const active = find(id))
        active->run.givenUp = why;
}

void DownloadQueue::onRequest(qint64 id)
{
    QueuedDownload *const active = find(id);
    if (!active)
        return;
    ++active->run.requests;
    // One transfer more, as soon as it is there.
    if (active->share > 0)
        QMetaObject::invokeMethod(this, &DownloadQueue::shareSpeed, Qt::QueuedConnection);
}

void DownloadQueue::onFilesWorkedOn(qint64 id, bool performing)
{
    if (QueuedDownload *const active = find(id))
        active->run.areFilesWorkedOn = performing;
}
