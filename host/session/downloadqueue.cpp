// SPDX-License-Identifier: MIT
#include <host/session/downloadqueue.h>

#include <host/policy/checksum.h>
#include <host/policy/errormessages.h>
#include <host/policy/retry.h>
#include <host/policy/speedshares.h>
#include <host/session/downloadsession.h>

#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QRandomGenerator>
#include <QStorageInfo>

#include <algorithm>
#include <limits>
#include <utility>

using namespace Qt::StringLiterals;

namespace
{

constexpr int kTickMs = 1000;
/// So many of those that wait are looked at for one whose server has room.
constexpr qsizetype kLooksAhead = 1000;
constexpr double kMillisecondsPerSecond = 1000;

bool isStop(const AbstractError &error)
{
    return error.category == ErrorCategory::kGeneric && error.code == int(GenericErrorCode::OperationAborted);
}

/// One clause, for a line about an attempt.
QString clauseOf(const AbstractError &error)
{
    if (error.category == ErrorCategory::kHttp)
        return u"HTTP status %1"_s.arg(error.code);
    if (error.category == ErrorCategory::kDownload)
        return DownloadErrorCode(error.code) == DownloadErrorCode::ResourceChanged
            ? u"another file"_s
            : u"does not send the rest of a file alone"_s;
    const QString text = QString::fromStdString(error.description).simplified();
    return text.isEmpty() ? u"it failed without a reason"_s : text;
}

/// As the end of a sentence; empty = at once.
QString inTime(qint64 ms)
{
    return ms < kTickMs ? QString() : u" in %1 s"_s.arg((ms + kTickMs / 2) / kTickMs);
}

/// Why the rest of the download does not fit; empty = it does, or nobody knows.
QString spaceComplaint(const AbstractDownloadPersistentInfo &record)
{
    const qint64 needed = record.diskSpaceNotUsedYet();
    // To look for the disk is expensive, and for a new download nothing is known that would have to fit.
    if (needed <= 0)
        return {};
    const QStorageInfo disk(record.folder);
    if (!disk.isValid() || !disk.isReady() || disk.bytesAvailable() >= needed)
        return {};
    return u"cannot download %1: it needs %2 more bytes, and the disk of \"%3\" has %4. Make room, or choose another "
           u"folder with -d."_s.arg(u'"' + record.downloadTitle() + u'"', QString::number(needed),
                                    QDir::toNativeSeparators(record.folder), QString::number(disk.bytesAvailable()));
}

/// The error as people can act on it: also where the module's own says less than the record shows.
AbstractError explained(const AbstractDownloadPersistentInfo &info)
{
    AbstractError error = info.lastError;
    if (!error)
        return {int(GenericErrorCode::Unexpected), ErrorCategory::kGeneric, errorSourceHere(), {}};
    const Trouble::Kind kind = Trouble::kindOf(error, info);
    if (kind == Trouble::Kind::None)
        return error;
    const auto code =
        kind == Trouble::Kind::Changed ? DownloadErrorCode::ResourceChanged : DownloadErrorCode::ResumeNotSupported;
    return {int(code), ErrorCategory::kDownload, error.source, error.description};
}

/// An incomplete file that is in the way is none.
bool isTargetThere(const AbstractDownloadPersistentInfo &info)
{
    return !info.files.isEmpty() && QFileInfo::exists(QDir(info.folder).filePath(info.files.first().name));
}

/// What is complete is found again by its number alone.
QString stopText(const AbstractDownloadPersistentInfo &info)
{
    if (!info.isFinished())
        return ErrorMessages::forStop();
    return u"stopped before \"%1\" was compared with its checksum; \"plait resume %2\" does it"_s.arg(
        info.downloadTitle(), QString::number(info.id));
}

/// There before anything was asked or downloaded; where the server gives the name, that is known only later.
bool isNamedTargetThere(const AbstractDownloadPersistentInfo &info)
{
    return info.hasFlag(AbstractDownloadPersistentInfo::RenameBlocked) && !info.isFinished()
        && info.bytesDownloaded(false) == 0 && isTargetThere(info);
}

QtHostAndPort serverOf(const AbstractDownloadPersistentInfo &info)
{
    return hostAndPortFromUrl(info.downloadUrl());
}

QString questionAbout(Trouble::Kind kind, const AbstractDownloadPersistentInfo &info)
{
    const QString title = info.downloadTitle();
    return kind == Trouble::Kind::Changed
        ? u"The server has another file than the one of which \"%1\" is a part. Fetch it from the beginning?"_s.arg(
            title)
        : u"The server does not send the rest of \"%1\" alone. Fetch it from the beginning?"_s.arg(title);
}

}

/// A download that has begun.
struct DownloadQueue::Active {
    qint64 id = 0;
    DownloadOptions options;
    Sources sources;
    AbstractDownloadPersistentInfo info; ///< as the newest run left it
    DownloadDetails details;
    Watchdog watchdog;
    Watchdog::Finding finding = Watchdog::Finding::Fine; ///< why the run was stopped
    QElapsedTimer clock;
    QTimer retryTimer;
    bool isRunning = false;
    bool isAsking = false;
    bool areFilesWorkedOn = false;
    bool isFileLeft = false; ///< somebody said that a file in the way is to stay
    bool isYoung = true; ///< no tick has come since the run began
    int requests = 0;
    int attempts = 0; ///< of all
    int failures = 0; ///< since the last progress
    int restarts = 0; ///< that nobody was asked about
    Job job = Job::Download; ///< of the newest run, or of the one that the timer begins
    QtHostAndPort server; ///< that the newest run began with
    qint64 mostBytes = 0; ///< that were on disk at the end of an attempt
    qint64 share = 0; ///< bytes/s that it may take now
};

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
        if (Active *const active = find(id))
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
        Active *const active = find(id);
        if (active && active->isRunning)
            m_session.stop(id);
        else if (active)
            end(*active, ExitStatus::Unfinished, stopText(active->info));
    }
    fillSoon();
}

void DownloadQueue::decide(qint64 id, bool restart)
{
    Active *const active = find(id);
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
    if (Active *const active = find(id))
        active->isFileLeft = action == AbstractDownloadFileExistsAction::Skip;
    m_session.fileExistsAction(id, fileIndex, action);
}

void DownloadQueue::setSpeedLimit(qint64 limit)
{
    m_options.speedLimit = limit;
    shareSpeed();
}

bool DownloadQueue::setSpeedLimitOf(qint64 id, qint64 limit, QString *errorText)
{
    if (Active *const active = find(id))
        active->options.rateLimit = limit;
    shareSpeed();
    DownloadOptions options = m_session.options(id);
    options.rateLimit = limit;
    return m_session.setOptions(id, options, errorText);
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
    const Active &active = *it->second;
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

DownloadQueue::Active *DownloadQueue::find(qint64 id)
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
    if (!isIdle())
        return;
    m_tick.stop();
    if (std::exchange(m_hasNews, false))
        Q_EMIT drained();
}

/// Place in the queue; -1 = there is none, or their servers have as many connections as they may.
qsizetype DownloadQueue::nextToBegin()
{
    for (qsizetype i = 0; i < std::min(m_waiting.size(), kLooksAhead); ++i) {
        Waiting &waiting = m_waiting[i];
        if (m_session.usageOfAll().maximumConnectionsPerServer <= 0)
            return i;
        if (waiting.server.host.isEmpty())
            waiting.server = serverOf(m_session.record(waiting.id).value_or(AbstractDownloadPersistentInfo()));
        if (waiting.job == Job::FinishNow || !isFull(waiting.server))
            return i;
    }
    return -1;
}

/// A run that has begun and has no connection yet is about to have one.
bool DownloadQueue::isFull(const QtHostAndPort &server) const
{
    const int most = m_session.usageOfAll().maximumConnectionsPerServer;
    if (most <= 0)
        return false;
    const auto beginning = std::count_if(m_order.cbegin(), m_order.cend(), [&](qint64 id) {
        const Active &active = *m_active.at(id);
        return active.isRunning && active.server == server && m_session.status(id).connections == 0;
    });
    return m_session.connectionsTo(server) + beginning >= most;
}

/// Never from inside the call that is the reason.
void DownloadQueue::fillSoon()
{
    m_hasNews = true;
    QMetaObject::invokeMethod(this, &DownloadQueue::fill, Qt::QueuedConnection);
}

/// Without a text: what never began needs no last words of its own.
void DownloadQueue::endWaiting()
{
    while (!m_waiting.isEmpty()) {
        DownloadOutcome outcome;
        outcome.id = m_waiting.dequeue().id;
        outcome.info = m_session.record(outcome.id).value_or(AbstractDownloadPersistentInfo());
        outcome.status = ExitStatus::Unfinished;
        outcome.attempts = 0;
        Q_EMIT ended(outcome);
    }
}

void DownloadQueue::begin(const Waiting &waiting)
{
    auto made = std::make_unique<Active>();
    Active &active = *made;
    active.id = waiting.id;
    active.clock.start();
    active.options = m_session.options(waiting.id);
    const std::optional<AbstractDownloadPersistentInfo> record = m_session.record(waiting.id);
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
    QString errorText;
    if (!record)
        end(active, ExitStatus::Unknown, u"there is no download %1. Run \"plait list\" to see them."_s.arg(waiting.id));
    else if (!m_session.hold(waiting.id, &errorText))
        end(active, ExitStatus::Unknown, errorText);
    else
        tryAgain(waiting.id, waiting.job);
}

void DownloadQueue::tryAgain(qint64 id, Job job)
{
    Active *const active = find(id);
    if (!active || active->isRunning)
        return;
    if (job == Job::Download && active->options.skipExisting && isNamedTargetThere(active->info)) {
        endAsSkipped(*active);
        return;
    }
    QString errorText = job == Job::Download ? spaceComplaint(active->info) : QString();
    if (!errorText.isEmpty()) {
        end(*active, ExitStatus::DiskFull, errorText);
        return;
    }
    active->server =
        active->sources.areSeveral() ? hostAndPortFromUrl(active->sources.current()) : serverOf(active->info);
    if (job != Job::FinishNow && isFull(active->server)) {
        active->job = job;
        active->retryTimer.start(kTickMs);
        return;
    }
    if (!run(*active, job, &errorText))
        end(*active, ExitStatus::Unknown,
            errorText.isEmpty() ? u"cannot begin download %1: it runs already, or the program is about to end. Wait "
                                  u"until that is done, and run \"plait resume %1\"."_s.arg(id)
                                : errorText);
}

bool DownloadQueue::run(Active &active, Job job, QString *errorText)
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
    if (!beginRun(active, errorText)) {
        active.isRunning = false;
        return false;
    }
    // A pause from inside the beginning found nothing to stop yet.
    if (active.isRunning && m_pausing)
        m_session.stop(active.id);
    shareSpeed();
    return true;
}

bool DownloadQueue::beginRun(const Active &active, QString *errorText)
{
    switch (active.job) {
    case Job::Download:
        return m_session.start(active.id, active.sources, errorText);
    case Job::Restart:
        return m_session.restart(active.id, errorText);
    case Job::FinishNow:
        return m_session.finishNow(active.id, errorText);
    }
    Q_UNREACHABLE();
}

void DownloadQueue::tick()
{
    const QList<qint64> ids = activeIds();
    for (const qint64 id : ids) {
        Active *const active = find(id);
        if (active && active->isRunning) {
            active->isYoung = false;
            watch(*active);
        }
    }
    shareSpeed();
    // Those that run may need fewer connections now.
    if (m_session.usageOfAll().maximumConnectionsPerServer > 0)
        fill();
}

void DownloadQueue::watch(Active &active)
{
    if (active.finding != Watchdog::Finding::Fine)
        return;
    const DownloadStatus status = m_session.status(active.id);
    active.finding = active.watchdog.look(
        {elapsedMs(), status.done, status.allocated, status.connections, active.areFilesWorkedOn, active.requests});
    if (active.finding != Watchdog::Finding::Fine)
        m_session.stop(active.id);
}

void DownloadQueue::shareSpeed()
{
    QList<SpeedShares::Item> items;
    for (const qint64 id : std::as_const(m_order)) {
        const Active &active = *m_active.at(id);
        if (!active.isRunning)
            continue;
        const DownloadStatus status = m_session.status(id);
        const NetworkUsageSettings usage = m_session.usageOf(active.options);
        // A run adds one connection after the other within a moment; if each took what those before it left, all of
        // them together would take a multiple of the limit in their first second.
        const int transfers = std::max(status.connections, active.isYoung ? int(usage.maximumConnections) : 0);
        items.append({id, usage.downloadLimit, transfers, status.speed, active.share});
    }
    const QHash<qint64, qint64> shares = SpeedShares::distribute(m_options.speedLimit, items);
    for (const SpeedShares::Item &item : std::as_const(items)) {
        Active &active = *m_active.at(item.id);
        active.share = shares.value(item.id);
        NetworkUsageSettings usage = m_session.usageOf(active.options);
        usage.downloadLimit = SpeedShares::perTransfer(active.share, item.transfers);
        m_session.setUsage(item.id, usage);
    }
}

void DownloadQueue::onRequest(qint64 id)
{
    Active *const active = find(id);
    if (!active)
        return;
    ++active->requests;
    // One transfer more, as soon as it is there.
    if (active->share > 0)
        QMetaObject::invokeMethod(this, &DownloadQueue::shareSpeed, Qt::QueuedConnection);
}

void DownloadQueue::onFinished(qint64 id, const AbstractDownloadPersistentInfo &info, const DownloadDetails &details,
                               const QList<QString> &responseHeaders)
{
    Active *const active = find(id);
    if (!active || !active->isRunning)
        return;
    active->isRunning = false;
    active->info = info;
    if (active->isFileLeft)
        active->info.existingFileReaction = AbstractDownloadExistingFileReaction::Skip;
    const int mostConnections = std::max(active->details.mostConnections, details.mostConnections);
    active->details = details;
    active->details.mostConnections = mostConnections;
    judge(*active, responseHeaders);
}

void DownloadQueue::judge(Active &active, const QList<QString> &responseHeaders)
{
    const AbstractError &error = active.info.lastError;
    if (!error && active.info.isFinished()) {
        compareChecksum(active);
        return;
    }
    if (m_pausing) {
        end(active, ExitStatus::Unfinished, stopText(active.info));
        return;
    }
    const qint64 bytes = active.info.bytesDownloaded(false);
    if (bytes > active.mostBytes)
        active.failures = 0;
    active.mostBytes = std::max(active.mostBytes, bytes);
    if (!tryNextSource(active) && !handleTrouble(active) && !tryAgainLater(active, responseHeaders))
        endByItsError(active);
}

/// One of the addresses that people know.
QUrl DownloadQueue::failedUrl(const Active &active)
{
    const Sources &sources = active.sources;
    if (sources.contains(active.details.failedSource))
        return active.details.failedSource;
    return sources.areSeveral() ? sources.current() : active.info.url;
}

bool DownloadQueue::tryNextSource(Active &active)
{
    const AbstractError &error = active.info.lastError;
    if (!active.sources.areSeveral() || !Sources::isSourcesFault(error))
        return false;
    const QUrl failed = failedUrl(active);
    // A restart begins with all of them again; else an address that was left out is none that could fail.
    if (active.sources.isAside(failed) && active.job != Job::Restart)
        return false;
    active.sources.putAside(failed, clauseOf(error), Retry::isWorthwhile(error));
    if (!active.sources.hasNext())
        return false;
    waitFor(active, 0, Job::Download,
            u"%1: %2; trying another address"_s.arg(failed.toDisplayString(), clauseOf(error)));
    return true;
}

bool DownloadQueue::handleTrouble(Active &active)
{
    const Trouble::Kind kind = Trouble::kindOf(active.info.lastError, active.info);
    if (kind == Trouble::Kind::None)
        return false;
    const auto policy =
        Trouble::Policy(kind == Trouble::Kind::Changed ? active.options.onChanged : active.options.onUnresumable);
    if (policy == Trouble::Policy::Restart)
        return restartUnasked(active);
    if (policy != Trouble::Policy::Ask || !m_options.canAsk)
        return false;
    active.isAsking = true;
    Q_EMIT decisionRequired(active.id, kind, questionAbout(kind, active.info));
    return true;
}

/// A server that has another file each time it is asked would be restarted without end. Progress is no sign that it has
/// come to its senses.
bool DownloadQueue::restartUnasked(Active &active)
{
    ++active.restarts;
    if (m_options.mostTries > 0 && active.restarts > m_options.mostTries)
        return false;
    const Retry::Wait wait{active.restarts - 1, m_options.retryWaitMs, QRandomGenerator::global()->generateDouble()};
    const qint64 ms = active.restarts == 1 ? 0 : Retry::delayMs(wait);
    waitFor(active, ms, Job::Restart,
            u"%1: %2; fetching it from the beginning%3"_s.arg(failedUrl(active).toDisplayString(),
                                                              clauseOf(active.info.lastError), inTime(ms)));
    return true;
}

bool DownloadQueue::tryAgainLater(Active &active, const QList<QString> &responseHeaders)
{
    const AbstractError &error = active.info.lastError;
    const bool isWatchdogs = active.finding != Watchdog::Finding::Fine && isStop(error);
    const bool mayAddressPass = !active.sources.hasNext() && active.sources.mayAnyPass();
    if (!isWatchdogs && !Retry::isWorthwhile(error) && !mayAddressPass)
        return false;
    ++active.failures;
    if (m_options.mostTries > 0 && active.failures >= m_options.mostTries)
        return false;
    Retry::Wait wait{active.failures, m_options.retryWaitMs, QRandomGenerator::global()->generateDouble()};
    if (error.category == ErrorCategory::kHttp)
        wait.askedMs = Retry::retryAfter(responseHeaders, QDateTime::currentDateTimeUtc());
    if (wait.askedMs.value_or(0) > Retry::kLongestAskedMs)
        return false;
    const QString reason = !isWatchdogs               ? clauseOf(error)
        : active.finding == Watchdog::Finding::Silent ? u"nothing happened for too long"_s
                                                      : u"the server ends each transfer after a few bytes"_s;
    active.sources.bringBack();
    const bool hasBegun = active.job != Job::Restart || active.info.bytesDownloaded(false) > 0;
    const qint64 ms = Retry::delayMs(wait);
    waitFor(active, ms, hasBegun ? Job::Download : Job::Restart,
            u"%1: %2; trying again%3"_s.arg(failedUrl(active).toDisplayString(), reason, inTime(ms)));
    return true;
}

void DownloadQueue::waitFor(Active &active, qint64 ms, Job job, const QString &notice)
{
    active.job = job;
    active.retryTimer.start(int(std::min<qint64>(ms, std::numeric_limits<int>::max())));
    Q_EMIT retrying(active.id, ms, notice);
}

void DownloadQueue::compareChecksum(Active &active)
{
    if (active.options.checksumAlgorithm.isEmpty()) {
        end(active, ExitStatus::Done, {});
        return;
    }
    if (m_pausing) {
        end(active, ExitStatus::Unfinished, stopText(active.info));
        return;
    }
    QString errorText;
    const std::optional<Checksum> checksum =
        Checksum::parse(active.options.checksumAlgorithm + u'=' + active.options.checksumHex, &errorText);
    if (!checksum) {
        end(active, ExitStatus::ChecksumMismatch,
            u"\"%1\" is there, but was not compared with its checksum: %2"_s.arg(
                QDir::toNativeSeparators(active.info.filePath(0)), errorText));
        return;
    }
    if (!m_hasher) {
        m_hasher = std::make_unique<FileHasher>();
        connect(m_hasher.get(), &FileHasher::hashed, this, &DownloadQueue::onHashed);
    }
    m_hasher->hash(active.id, active.info.filePath(0), checksum->algorithm);
}

void DownloadQueue::onHashed(qint64 id, const QByteArray &digest, const QString &errorText)
{
    Active *const active = find(id);
    if (!active)
        return;
    const QString path = QDir::toNativeSeparators(active->info.filePath(0));
    if (digest.isEmpty()) {
        end(*active, ExitStatus::FileError, u"cannot read \"%1\" for its checksum: %2."_s.arg(path, errorText));
    } else if (digest == QByteArray::fromHex(active->options.checksumHex.toLatin1())) {
        setChecksumResult(*active, ChecksumResult::Equal);
        end(*active, ExitStatus::Done, {});
    } else {
        setChecksumResult(*active, ChecksumResult::Different);
        end(*active, ExitStatus::ChecksumMismatch,
            u"\"%1\" is not the file that was meant: its %2 checksum is %3, and %4 was asked for. The file stays as it "
            u"is; \"plait restart %5\" fetches it again."_s.arg(path, active->options.checksumAlgorithm,
                                                                QString::fromLatin1(digest.toHex()),
                                                                active->options.checksumHex, QString::number(id)));
    }
}

/// A process that dies before it knows leaves the comparison to the next one.
void DownloadQueue::setChecksumResult(Active &active, ChecksumResult result)
{
    if (active.options.checksumAlgorithm.isEmpty() || active.options.checksumResult == result)
        return;
    active.options.checksumResult = result;
    QString errorText;
    if (!m_session.setOptions(active.id, active.options, &errorText))
        Q_EMIT m_session.warned(active.id, errorText);
}

void DownloadQueue::endByItsError(Active &active)
{
    const AbstractError error = explained(active.info);
    const ExitStatus status = exitStatusOf(error, active.info);
    const QString title = active.info.downloadTitle();
    if (active.finding != Watchdog::Finding::Fine && isStop(error))
        end(active, ExitStatus::TimeOut,
            u"cannot download \"%1\": nothing more came from the server. \"plait resume %2\" tries again."_s.arg(
                title, QString::number(active.id)));
    else if (active.sources.areSeveral() && !active.sources.hasNext())
        end(active, status,
            u"cannot download \"%1\" from any of its addresses:\n%2"_s.arg(title, active.sources.report()));
    else if (status == ExitStatus::FileExists && mayBeSkipped(active) && isTargetThere(active.info))
        endAsSkipped(active);
    else
        end(active, status, ErrorMessages::forDownload(error, active.info));
}

bool DownloadQueue::mayBeSkipped(const Active &active) const
{
    return active.options.skipExisting || (active.isFileLeft && m_options.canAsk);
}

/// The file that is there is as good as a download, of which nothing is left to do or to list.
void DownloadQueue::endAsSkipped(Active &active)
{
    active.info.lastError = {};
    QString errorText;
    if (active.info.bytesDownloaded(false) == 0 && !m_session.remove(active.id, false, &errorText))
        Q_EMIT m_session.warned(active.id, errorText);
    end(active, ExitStatus::Done, u"\"%1\" is there already; skipped"_s.arg(active.info.downloadTitle()));
}

void DownloadQueue::end(Active &active, ExitStatus status, const QString &errorText)
{
    DownloadOutcome outcome;
    outcome.id = active.id;
    outcome.info = active.info;
    outcome.options = active.options;
    outcome.details = active.details;
    outcome.status = status;
    outcome.errorText = errorText;
    outcome.seconds = double(active.clock.elapsed()) / kMillisecondsPerSecond;
    outcome.attempts = active.attempts;
    m_order.removeOne(outcome.id);
    // The caller still stands in it.
    const auto it = m_active.find(outcome.id);
    std::unique_ptr<Active> gone = std::move(it->second);
    m_active.erase(it);
    gone->retryTimer.disconnect(this);
    QMetaObject::invokeMethod(
        this, [keep = std::shared_ptr<Active>(std::move(gone))] {}, Qt::QueuedConnection);
    m_session.letGo(outcome.id);
    fillSoon();
    Q_EMIT ended(outcome);
}
