// SPDX-License-Identifier: MIT
#include <host/engine/downloadqueue.h>

#include <host/engine/downloadsession.h>
#include <host/engine/downloadstream.h>
#include <host/engine/queueddownload.h>
#include <host/parsing/checksum.h>
#include <host/policy/retry.h>
#include <host/storage/diskroom.h>

#include <QDateTime>
#include <QDir>
#include <QRandomGenerator>

#include <algorithm>
#include <cerrno>
#include <memory>

using namespace Qt::StringLiterals;

namespace
{

constexpr qint64 kSecondMs = 1000;

bool isStop(const AbstractError &error)
{
    return error.category == ErrorCategory::kGeneric && error.code == int(GenericErrorCode::OperationAborted);
}

/// One clause, for a line about an attempt.
Clause clauseOf(const AbstractError &error)
{
    if (error.category == ErrorCategory::kHttp)
        return {Clause::Kind::HttpStatus, {QString::number(error.code)}};
    if (error.category == ErrorCategory::kDownload)
        return DownloadErrorCode(error.code) == DownloadErrorCode::ResourceChanged ? Clause::Kind::OtherFile
                                                                                   : Clause::Kind::NotTheRestAlone;
    QString text = QString::fromStdString(error.description).simplified();
    if (text.endsWith(u'.'))
        text.chop(1);
    return text.isEmpty() ? Clause::Kind::NoReason : Clause(text);
}

DownloadState stateAfter(const Failure &failure)
{
    switch (failure.kind) {
    case Failure::Kind::None:
    case Failure::Kind::Skipped:
        return DownloadState::Done;
    case Failure::Kind::Stopped:
    case Failure::Kind::StoppedBeforeComparing:
        return DownloadState::Paused;
    default:
        return DownloadState::Failed;
    }
}

/// The error as people can act on it: also where the module's own says less than the record shows.
AbstractError explained(const AbstractDownloadPersistentInfo &info)
{
    AbstractError error = info.lastError;
    if (!error)
        return {int(GenericErrorCode::Unexpected), ErrorCategory::kGeneric, errorSourceHere(), {}};
    const Trouble::Kind kind = Trouble::kindOf(error, info);
    if (kind == Trouble::Kind::None || error.category == ErrorCategory::kDownload)
        return error;
    const auto code =
        kind == Trouble::Kind::Changed ? DownloadErrorCode::ResourceChanged : DownloadErrorCode::ResumeNotSupported;
    return {int(code), ErrorCategory::kDownload, error.source, {}};
}

/// An answer's status has no words of its own. Who tries again later has to know how much later.
void noteAskedWait(AbstractDownloadPersistentInfo &info, const QList<QString> &responseHeaders)
{
    if (info.lastError.category != ErrorCategory::kHttp || !Retry::isWorthwhile(info.lastError))
        return;
    const qint64 ms = Retry::retryAfter(responseHeaders, QDateTime::currentDateTimeUtc()).value_or(0);
    if (ms > 0)
        info.lastError.description = u"it asks to wait for %1 s"_s.arg((ms + 999) / 1000).toStdString();
}

/// Of the address that failed, which need not be the one that the download has.
Failure failureAt(const QUrl &url, const AbstractDownloadPersistentInfo &info)
{
    Failure failure = Failure::of(info.lastError, info);
    failure.subject.url = url.adjusted(QUrl::RemovePassword);
    return failure;
}

/// What comes before it is read finds its room where what was read gives it back, and with the file's end all of it is.
Failure::Room roomOf(const QueuedDownload &active, int errorNumber)
{
    const AbstractDownloadPersistentInfo &info = active.info;
    const qint64 size = info.files.isEmpty() ? -1 : info.files.first().size;
    const qint64 available = DiskRoom::freeIn(info.folder);
    const qint64 taken = info.files.isEmpty() ? 0 : DiskRoom::takenBy(info.filePath(0));
    const DownloadStream *const stream = active.reading.stream.get();
    if (stream && errorNumber != EFBIG)
        return {size < 0 ? StreamWindow::kWindow : std::min(size - stream->passed(), StreamWindow::kWindow),
                available < 0 ? available : available + taken};
    // What is too long for one file is so as a whole.
    return {size < 0 || errorNumber == EFBIG ? size : std::max<qint64>(0, size - taken), available};
}

Warning retryOf(const Failure &failure, Warning::Next next, int attempt, qint64 ms)
{
    return {Warning::Kind::Retrying, failure, next, attempt, ms, {}};
}

}

void DownloadQueue::onFinished(qint64 id, const AbstractDownloadPersistentInfo &info, const DownloadDetails &details,
                               const QList<QString> &responseHeaders)
{
    const Outbox::Scope scope(m_outbox);
    QueuedDownload *const active = findIn(id, DownloadState::Running);
    if (!active)
        return;
    active->info = info;
    if (active->answer != QueuedDownload::Answer::None)
        active->info.existingFileReaction = AbstractDownloadExistingFileReaction::Skip;
    const int mostConnections = std::max(active->details.mostConnections, details.mostConnections);
    active->details = details;
    active->details.mostConnections = mostConnections;
    if (active->reading.stream)
        takeForReader(*active);
    judge(*active, responseHeaders);
}

void DownloadQueue::judge(QueuedDownload &active, const QList<QString> &responseHeaders)
{
    if (active.run.givenUp) {
        end(active, active.run.givenUp);
        return;
    }
    // A stop may come too late.
    if (active.info.isFinished() && isStop(active.info.lastError))
        active.info.lastError = {};
    if (active.info.isFinished() && !active.info.lastError) {
        if (!searchChecksum(active))
            compareChecksum(active);
        return;
    }
    if (active.isCalledOff()) {
        end(active, active.stopped());
        return;
    }
    if (isStop(active.info.lastError) && (restForReader(active) || goesOnLater(active)))
        return;
    const qint64 bytes = active.info.bytesDownloaded(false);
    if (bytes > active.mostBytes)
        active.failures = 0;
    active.mostBytes = std::max(active.mostBytes, bytes);
    if (!tryNextSource(active) && !handleTrouble(active) && !tryAgainLater(active, responseHeaders)) {
        noteAskedWait(active.info, responseHeaders);
        endByItsError(active);
    }
}

/// One of the addresses that people know.
QUrl DownloadQueue::failedUrl(const QueuedDownload &active)
{
    const Sources &sources = active.sources;
    if (sources.contains(active.details.failedSource))
        return active.details.failedSource;
    return sources.areSeveral() ? sources.current() : active.info.url;
}

bool DownloadQueue::tryNextSource(QueuedDownload &active)
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
    retry(active, retryOf(failureAt(failed, active.info), Warning::Next::OtherAddress, 0, 0), Job::Download);
    return true;
}

bool DownloadQueue::handleTrouble(QueuedDownload &active)
{
    const Trouble::Kind kind = Trouble::kindOf(active.info.lastError, active.info);
    if (kind == Trouble::Kind::None || hasGoneOut(active))
        return false;
    const auto policy =
        Trouble::Policy(kind == Trouble::Kind::Changed ? active.options.onChanged : active.options.onUnresumable);
    if (policy == Trouble::Policy::Restart)
        return restartUnasked(active);
    if (policy != Trouble::Policy::Ask || !m_options.canAsk)
        return false;
    m_outbox.put([this, id = active.id, kind] { Q_EMIT decisionRequired(id, kind); });
    transition(active.id, DownloadState::Asking);
    return true;
}

/// A server that has another file each time it is asked would be restarted without end. Progress is no sign that it has
/// come to its senses.
bool DownloadQueue::restartUnasked(QueuedDownload &active)
{
    ++active.restarts;
    if (m_options.mostTries > 0 && active.restarts > m_options.mostTries)
        return false;
    const Retry::Wait wait{active.restarts - 1, m_options.retryWaitMs, QRandomGenerator::global()->generateDouble()};
    const qint64 ms = active.restarts == 1 ? 0 : Retry::delayMs(wait);
    const Failure failure = failureAt(failedUrl(active), active.info);
    retry(active, retryOf(failure, Warning::Next::FromTheBeginning, active.restarts + 1, ms), Job::Restart);
    return true;
}

bool DownloadQueue::tryAgainLater(QueuedDownload &active, const QList<QString> &responseHeaders)
{
    const AbstractError &error = active.info.lastError;
    const bool isWatchdogs = active.run.finding != Watchdog::Finding::Fine && isStop(error);
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
    const Failure failure = isWatchdogs ? whyEndedByWatchdog(active) : failureAt(failedUrl(active), active.info);
    active.sources.bringBack();
    const bool hasBegun = active.job != Job::Restart || active.info.bytesDownloaded(false) > 0;
    const qint64 ms = Retry::delayMs(wait);
    retry(active, retryOf(failure, Warning::Next::Again, active.failures + 1, ms),
          hasBegun ? Job::Download : Job::Restart);
    return true;
}

Failure DownloadQueue::whyEndedByWatchdog(const QueuedDownload &active)
{
    auto subject = Failure::Subject::of(active.info);
    subject.url = failedUrl(active);
    return Failure::make(Failure::Kind::NothingCame, subject,
                         active.run.finding == Watchdog::Finding::Silent ? Clause::Kind::SilentTooLong
                                                                         : Clause::Kind::EndsAfterFewBytes);
}

void DownloadQueue::retry(QueuedDownload &active, const Warning &how, Job job)
{
    m_outbox.put([this, id = active.id, how] { Q_EMIT retrying(id, how); });
    rest(active, RestReason::Time, how.inMs, job);
}

void DownloadQueue::compareChecksum(QueuedDownload &active)
{
    Clause problem;
    active.expected = expectedOf(active, &problem);
    if (!active.expected && problem.isEmpty()) {
        end(active, {});
        return;
    }
    if (active.isCalledOff()) {
        end(active, active.stopped());
        return;
    }
    if (!active.expected) {
        end(active, Failure::make(Failure::Kind::ChecksumUnusable, Failure::Subject::of(active.info), problem));
        return;
    }
    hash(active);
}

/// Nothing, and a reason, where what was given makes no sense.
std::optional<Checksum> DownloadQueue::expectedOf(const QueuedDownload &active, Clause *problem) const
{
    if (active.options.checksumAlgorithm.isEmpty())
        return serversDigest(active);
    return Checksum::parse(active.options.checksumAlgorithm + u'=' + active.options.checksumHex, problem);
}

void DownloadQueue::hash(QueuedDownload &active)
{
    if (active.reading.stream) {
        hashStream(active);
        return;
    }
    if (!m_hasher) {
        m_hasher = std::make_unique<FileHasher>();
        connect(m_hasher.get(), &FileHasher::hashed, this, &DownloadQueue::onHashed);
    }
    active.comparison = m_hasher->hash(active.info.filePath(0), active.expected->algorithm);
    if (m_entries.at(active.id).state != DownloadState::Hashing)
        transition(active.id, DownloadState::Hashing);
}

/// What was finished early on purpose is another file to every digest.
std::optional<Checksum> DownloadQueue::serversDigest(const QueuedDownload &active) const
{
    const ResourceMemory memory = m_session.memoryOf(active.id);
    return memory.evidence.doubt == Evidence::Doubt::FinishedEarly ? std::nullopt : memory.digest();
}

void DownloadQueue::onHashed(quint64 comparison, const QByteArray &digest, const Clause &why)
{
    const Outbox::Scope scope(m_outbox);
    const auto isIt = [&](qint64 id) { return m_entries.at(id).active->comparison == comparison; };
    const auto found = std::find_if(m_order.cbegin(), m_order.cend(), isIt);
    QueuedDownload *const active = found == m_order.cend() ? nullptr : findIn(*found, DownloadState::Hashing);
    if (active)
        concludeHash(*active, digest, why);
}

void DownloadQueue::concludeHash(QueuedDownload &active, const QByteArray &digest, const Clause &why)
{
    if (digest.isEmpty()) {
        end(active, Failure::make(Failure::Kind::CannotReadFile, Failure::Subject::of(active.info), why));
        return;
    }
    const bool isEqual = digest == active.expected->expected;
    const ChecksumResult result = isEqual ? ChecksumResult::Equal : ChecksumResult::Different;
    if (active.options.checksumAlgorithm.isEmpty())
        setDigestResult(active, result);
    else
        setChecksumResult(active, result);
    end(active, isEqual ? Failure() : mismatch(active, digest));
}

Failure DownloadQueue::mismatch(const QueuedDownload &active, const QByteArray &digest)
{
    const bool isGiven = !active.options.checksumAlgorithm.isEmpty();
    const QStringList values{active.expected->algorithmName(), QString::fromLatin1(digest.toHex()),
                             QString::fromLatin1(active.expected->expected.toHex())};
    return Failure::make(isGiven ? Failure::Kind::ChecksumDiffers : Failure::Kind::DigestDiffers,
                         Failure::Subject::of(active.info),
                         {isGiven ? Clause::Kind::ChecksumIs : Clause::Kind::DigestIs, values});
}

FileAssurance DownloadQueue::assuranceOf(const QueuedDownload &active) const
{
    const Lease *const lease = m_session.lease(active.id);
    if (!lease || !active.info.isFinished() || active.info.lastError)
        return {};
    const bool isGiven = !active.options.checksumAlgorithm.isEmpty();
    return FileAssurance::of(lease->memory.evidence,
                             isGiven ? std::optional(active.options.checksumResult) : std::nullopt);
}

/// A process that dies before it knows leaves the comparison to the next one.
void DownloadQueue::setChecksumResult(QueuedDownload &active, ChecksumResult result)
{
    if (active.options.checksumAlgorithm.isEmpty() || active.options.checksumResult == result)
        return;
    active.options.checksumResult = result;
    // What was given since it began stays; with another checksum than that nothing was compared.
    const auto keep = [compared = active.options](DownloadOptions &kept) {
        if (kept.checksumAlgorithm == compared.checksumAlgorithm && kept.checksumHex == compared.checksumHex)
            kept.checksumResult = compared.checksumResult;
    };
    Failure failure;
    if (!m_session.changeChecksum(active.id, keep, &failure))
        warn(active.id, failure);
}

void DownloadQueue::setDigestResult(const QueuedDownload &active, ChecksumResult result)
{
    Failure failure;
    if (!m_session.setDigestResult(active.id, result, &failure))
        warn(active.id, failure);
}

void DownloadQueue::endByItsError(QueuedDownload &active)
{
    const Failure failure = failureOf(active);
    const bool isTaken = failure.kind == Failure::Kind::NameTaken && failure.addresses.isEmpty();
    if (isTaken && mayBeSkipped(active) && active.isTargetThere())
        endAsSkipped(active);
    else
        end(active, failure);
}

Failure DownloadQueue::failureOf(const QueuedDownload &active) const
{
    const AbstractError error = explained(active.info);
    if (active.run.finding != Watchdog::Finding::Fine && isStop(error))
        return Failure::make(Failure::Kind::NothingCame, Failure::Subject::of(active.info));
    Failure failure = Failure::of(error, active.info);
    if (failure.kind == Failure::Kind::DiskFull)
        failure.room = roomOf(active, failure.number);
    if (active.sources.areSeveral() && !active.sources.hasNext())
        failure.addresses = active.sources.failed();
    return failure;
}

bool DownloadQueue::mayBeSkipped(const QueuedDownload &active) const
{
    return active.options.skipExisting || active.answer == QueuedDownload::Answer::Skip;
}

/// The file that is there is as good as a download, of which nothing is left to do or to list.
void DownloadQueue::endAsSkipped(QueuedDownload &active)
{
    active.info.lastError = {};
    Failure failure;
    if (active.info.bytesDownloaded(false) == 0 && !m_session.remove(active.id, false, &failure))
        warn(active.id, failure);
    end(active, Failure::make(Failure::Kind::Skipped, Failure::Subject::of(active.info)));
}

void DownloadQueue::warn(qint64 id, const Failure &failure)
{
    const Outbox::Scope scope(m_outbox);
    m_outbox.put([this, id, failure] { Q_EMIT warned(id, failure); });
}

DownloadOutcome DownloadQueue::outcomeOf(const QueuedDownload &active, const Failure &failure)
{
    DownloadOutcome outcome;
    outcome.id = active.id;
    outcome.info = active.info;
    outcome.options = active.options;
    outcome.details = active.details;
    if (const Lease *const lease = m_session.lease(active.id)) {
        outcome.contentEncoding = lease->contentEncoding;
        outcome.line = lease->entry();
    }
    outcome.assurance = assuranceOf(active);
    outcome.failure = failure;
    outcome.seconds = double(active.clock.elapsed()) / kSecondMs;
    outcome.attempts = active.attempts;
    return outcome;
}

/// The one way out for what has begun.
void DownloadQueue::end(QueuedDownload &active, const Failure &failure)
{
    const qint64 id = active.id;
    const StopReason why = active.stop;
    m_outbox.put([this, outcome = outcomeOf(active, failure)] { Q_EMIT ended(outcome); });
    transition(id, stateAfter(failure));
    m_order.removeOne(id);
    if (m_hasher)
        m_hasher->giveUp(active.comparison);
    // What is posted to the queue goes after its children.
    active.restTimer.setParent(nullptr);
    // The caller still stands in it, or its timer does.
    const std::shared_ptr<QueuedDownload> gone = std::move(m_entries.at(id).active);
    QMetaObject::invokeMethod(
        this, [gone] {}, Qt::QueuedConnection);
    m_session.letGo(id);
    const bool staysKnown = why == StopReason::Pause && m_life == Life::Open && state(id) == DownloadState::Paused;
    if (staysKnown)
        m_paused.append(id);
    if (why == StopReason::Leave)
        transition(id, DownloadState::Removed);
    if (!staysKnown)
        forget(id);
    fillSoon();
}
