// SPDX-License-Identifier: MIT
#include <host/engine/downloadrun.h>

#include <host/network/downloadaccesschief.h>
#include <host/network/resourceguard.h>
#include <host/parsing/authchallenges.h>
#include <host/policy/contentencoding.h>
#include <host/policy/diskcheck.h>
#include <host/policy/finishnow.h>
#include <host/policy/proxychoice.h>
#include <inet/qt/download/framework/ownfiles.h>

#include <QDir>
#include <QThread>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>
#include <utility>

using namespace Qt::StringLiterals;

namespace
{

constexpr int kUnauthorized = 401;
constexpr int kProxyUnauthorized = 407;

using Info = AbstractDownloadPersistentInfo;
using File = AbstractDownloadFileInfo;

bool hasFileOnDisk(const Info &info)
{
    return info.destinationType == Info::ToFolder && !info.files.isEmpty() && info.files.first().isOnDisk();
}

bool hasBytesOnDisk(const Info &info)
{
    return hasFileOnDisk(info) && info.files.first().bytesDownloaded() > 0;
}

/// The file's entry in its folder is another one, or not known to be on disk.
bool hasOtherName(const Info &newer, const Info &older)
{
    return !hasBytesOnDisk(older) || newer.filePath(0) != older.filePath(0);
}

/// By an answer, which has no words of its own.
bool isAskingForLogin(const AbstractError &error)
{
    return error.category == ErrorCategory::kHttp && (error.code == kUnauthorized || error.code == kProxyUnauthorized)
        && error.description.empty();
}

/// Something that the older state says is no longer so; before the file is changed to match, the list has to forget it
/// for good.
bool takesBack(const Info &newer, const Info &older)
{
    if (!hasBytesOnDisk(older))
        return false;
    return newer.files.isEmpty() || !(newer.guid == older.guid)
        || !DiskCheck::keepsAllBytes(newer.files.first(), older.files.first());
}

}

DownloadRun::DownloadRun(AbstractDownload *download, DownloadStore *list, QObject *parent, FileSyncer *syncer)
    : QObject(parent)
    , m_download(download)
    , m_list(list)
    , m_syncer(syncer ? syncer : new FileSyncer)
    , m_saveTimer(this)
{
    m_download->setParent(this);
    m_syncer->setParent(this);
    m_saveTimer.setSingleShot(true);
    m_saveTimer.setInterval(kSaveIntervalMs);
    connect(&m_saveTimer, &QTimer::timeout, this, &DownloadRun::save);
    connect(m_syncer, &FileSyncer::synced, this, &DownloadRun::onSynced);
    connect(m_download, &AbstractDownload::changed, this, &DownloadRun::onChanged);
    connect(m_download, &AbstractDownload::running, this, &DownloadRun::onRunning);
    connect(m_download, &AbstractDownload::performingFilesOperations, this, &DownloadRun::onFilesOperations);
    connect(m_download, &AbstractDownload::gotResponseHeaders, this, &DownloadRun::onResponseHeaders);
}

DownloadRun::~DownloadRun() = default;

void DownloadRun::setGuard(const std::shared_ptr<ResourceGuard> &guard)
{
    m_guard = guard;
    m_savedMemory = guard->memory();
    connect(guard.get(), &ResourceGuard::refused, this, &DownloadRun::onChange);
}

/// The module would hold limits of connections against those of all downloads.
void DownloadRun::setUsage(const NetworkUsageSettings &usage)
{
    NetworkUsageSettings ofTheModule = usage;
    if (m_chief) {
        m_chief->setMostConnections(usage.maximumConnections, usage.maximumConnectionsPerServer);
        ofTheModule.maximumConnections = 0;
        ofTheModule.maximumConnectionsPerServer = 0;
    }
    m_download->setNetworkUsageSettings(ofTheModule);
}

qint64 DownloadRun::id() const
{
    return m_download->id();
}

AbstractDownloadPersistentInfo DownloadRun::info() const
{
    Info record = m_download->info();
    // It was stopped in our name only, or by what stands in place of the refused answer.
    const bool isOver = m_life > Life::Running;
    if (isOver && !m_change.isEmpty() && record.lastError)
        record.setLastError({int(DownloadErrorCode::ResourceChanged), ErrorCategory::kDownload, errorSourceHere(),
                             m_change.toStdString()});
    if (isOver && isAskingForLogin(record.lastError))
        record.lastError.description = whoRefused(record);
    return record;
}

DownloadStatus DownloadRun::status() const
{
    const AbstractDownloadPersistentInfo record = info();
    const QMap<int, AbstractDownload::Progress> tasks = m_download->tasksProgress();
    DownloadStatus status;
    status.done = record.bytesDownloaded(false);
    status.total = record.files.isEmpty() ? -1 : record.files.first().size;
    status.speed = m_download->speed(NetworkTrafficDirection::Download, true);
    status.servers = m_download->connectionsMap();
    status.connections = unitedEntry(status.servers).count;
    status.allocated = tasks.value(AllocatingFileTask, {-1, -1}).first;
    if (!record.files.isEmpty()) {
        status.name = record.files.first().name;
        status.sections = record.files.first().sections;
    }
    status.fetching = details().fetching;
    return status;
}

DownloadDetails DownloadRun::details() const
{
    auto details = m_download->details().value<DownloadDetails>();
    if (m_guard && m_guard->hasFoundChange())
        details.failedSource = m_guard->changedAddress();
    return details;
}

bool DownloadRun::isTellingMadeUp() const
{
    return m_guard && m_guard->isMadeUp();
}

Lease DownloadRun::lease() const
{
    Lease lease = m_lease;
    lease.record = m_refused.value_or(m_saved);
    if (m_sources.areSeveral())
        m_sources.restore(lease.record);
    lease.file = m_file;
    lease.contentEncoding = m_contentEncoding;
    return lease;
}

void DownloadRun::run(AbstractDownloadCommand command, const Lease &lease)
{
    advance(Life::Running);
    m_lease = lease;
    m_saved = info();
    m_file = lease.file;
    m_contentEncoding = lease.contentEncoding;
    if (hasFileOnDisk(m_saved) && !m_saved.isFinished())
        OwnFiles::set(m_saved.filePath(0), m_file);
    if (command == AbstractDownloadCommand::Restart) {
        m_savedMemory.reset();
        forgetBytes();
    } else {
        forgetThatItIsEarly();
    }
    m_download->doCommand(command);
    // A command that has nothing to do begins no run, or one that is over by now.
    if (!m_download->isRunning())
        end();
}

/// One after the other, each once.
void DownloadRun::advance(Life to)
{
    Q_ASSERT(QThread::currentThread() == thread());
    Q_ASSERT_X(int(to) == int(m_life) + 1, "DownloadRun", "a run begins once, and ends once");
    m_life = to;
}

void DownloadRun::stop()
{
    m_download->doCommand(AbstractDownloadCommand::Stop);
}

void DownloadRun::finishNow()
{
    if (m_guard && FinishNow::isEarly(info())) {
        ResourceMemory memory = m_guard->memory();
        memory.evidence.doubt = Evidence::Doubt::FinishedEarly;
        m_guard->setMemory(memory, true);
    }
    m_download->doCommand(AbstractDownloadCommand::FinishNow);
}

/// Who goes on with what was to be finished early, and was not, gets more than what was there.
void DownloadRun::forgetThatItIsEarly()
{
    const bool isEarly = m_guard && m_guard->memory().evidence.doubt == Evidence::Doubt::FinishedEarly
        && !m_saved.isFinished() && !m_saved.files.isEmpty() && FinishNow::isEarly(m_saved);
    if (!isEarly)
        return;
    ResourceMemory memory = m_guard->memory();
    // In whose place it stood is not kept. A single answer gives no cause for any.
    memory.evidence.doubt = memory.evidence.answers > 1 ? Evidence::Doubt::Unknown : Evidence::Doubt::None;
    m_guard->setMemory(memory, true);
}

void DownloadRun::onChanged(bool significantly)
{
    if (significantly)
        save();
    else
        saveSoon();
}

void DownloadRun::onRunning(bool isRunning)
{
    if (!isRunning)
        end();
}

/// Before anything of the answer that brought it goes to the file.
void DownloadRun::onChange(const QString &reason)
{
    // What comes of the first is no news.
    if (m_change.isEmpty())
        m_change = reason;
    stop();
}

void DownloadRun::onResponseHeaders(qint64, const QList<QString> &headers)
{
    if (isTellingMadeUp())
        return;
    m_responseHeaders = headers;
    const std::optional<ContentEncoding::Answer> answer = ContentEncoding::of(headers);
    if (!answer)
        return;
    if (!answer->isPart && isWithoutBytes()) {
        m_contentEncoding = answer->encoding.isNull() ? u""_s : answer->encoding;
    } else if (answer->encoding != m_contentEncoding) {
        onChange(ContentEncoding::change(m_contentEncoding, answer->encoding));
    }
}

/// Nothing where the newest answer is another section's.
std::string DownloadRun::whoRefused(const AbstractDownloadPersistentInfo &record) const
{
    if (m_responseHeaders.value(0).section(u' ', 1, 1).toInt() != record.lastError.code)
        return {};
    const bool isProxys = record.lastError.code == kProxyUnauthorized;
    const QUrl proxy = isProxys && m_proxyFor ? m_proxyFor(record.finalSource()) : QUrl();
    const QString who = proxy.isEmpty() ? u'"' + record.finalSource().host() + u'"' : ProxyChoice::nameOf(proxy);
    return AuthChallenges::refusal(who, AuthChallenges::valueIn(m_responseHeaders, isProxys)).toStdString();
}

/// Nor are any under way.
bool DownloadRun::isWithoutBytes() const
{
    const Info record = m_download->info();
    return record.bytesDownloaded(false) == 0 && (record.files.isEmpty() || record.files.first().sections.size() <= 1);
}

/// A process that dies between making a file and telling the list leaves one that nobody knows: the list hears of it
/// before.
void DownloadRun::onFilesOperations(bool performing)
{
    if (!performing && !m_isLasting)
        leaveSpaceUntaken();
    const Info record = info();
    if (!performing || record.destinationType != Info::ToFolder || record.files.isEmpty()
        || record.files.first().isOnDisk())
        return;
    m_file = FileIdentity::planned();
    if (!m_syncing && m_list && !m_isClaimLost)
        writeAtOnce(whatMayBeSaid(record));
}

/// Before the file's first writer opens it: what nobody keeps takes no more room than what is written.
void DownloadRun::leaveSpaceUntaken()
{
    Info *const record = m_download->rwInfo();
    if (record && !record->files.isEmpty())
        record->files.first().fileFlags |= File::Preallocated;
}

/// The file is about to be written from its beginning: the list must not say any more what the disk holds no longer.
void DownloadRun::forgetBytes()
{
    Info begun = m_saved;
    for (File &file : begun.files) {
        for (AbstractDownloadSection &section : file.sections)
            section.downloaded = 0;
    }
    if (hasBytesOnDisk(m_saved) && !m_saved.isFinished())
        commit(begun);
}

void DownloadRun::save()
{
    m_saveTimer.stop();
    if (m_writing && !m_isClaimLost && takesBackFromList(info()))
        writeAtOnce(whatMayBeSaid(info()));
    else if (isSaving())
        m_pending = Pending::AtOnce;
    else
        begin(info());
}

void DownloadRun::saveSoon()
{
    m_pending = std::max(m_pending, Pending::Soon);
    if (!isSaving() && !m_saveTimer.isActive())
        m_saveTimer.start();
}

void DownloadRun::begin(const AbstractDownloadPersistentInfo &snapshot)
{
    m_pending = Pending::Nothing;
    if (!m_list || !m_isLasting || m_syncFailed || !claimsNewBytes(snapshot)) {
        commit(snapshot);
        return;
    }
    m_syncing = snapshot;
    m_syncer->sync(snapshot.filePath(0), hasOtherName(snapshot, m_saved));
}

bool DownloadRun::claimsNewBytes(const AbstractDownloadPersistentInfo &snapshot) const
{
    if (!hasBytesOnDisk(snapshot))
        return false;
    return hasOtherName(snapshot, m_saved) || snapshot.isFinished() != m_saved.isFinished()
        || !DiskCheck::keepsAllBytes(m_saved.files.first(), snapshot.files.first());
}

void DownloadRun::onSynced(const FileSyncer::Outcome &outcome)
{
    Info snapshot = *std::exchange(m_syncing, std::nullopt);
    m_saveTimer.setInterval(int(std::clamp(kRestFactor * outcome.milliseconds, qint64(kSaveIntervalMs),
                                           qint64(std::numeric_limits<int>::max()))));
    // Whatever stands in its place, the disk has not been asked for this file.
    const bool isGone = outcome.error == ENOENT || m_file.isOther(outcome.file);
    if (!isGone && outcome.file.isKnown())
        m_file = outcome.file;
    if (outcome.error == 0 && !isGone && m_pending == Pending::AtOnce)
        bringUpToDate(snapshot);
    // A file that is being renamed just now is found by the next save, under its new name. One that is not found at the
    // end either can mislead nobody: the first look at the disk shows that it is not there.
    if (isGone && (m_pending == Pending::AtOnce || m_life == Life::Running))
        m_pending = std::max(m_pending, Pending::Soon);
    else if (outcome.error == 0 || isGone)
        commit(snapshot);
    else
        onSyncFailed(snapshot, outcome.error);
    if (!isSaving())
        afterSave();
}

/// What came meanwhile and says nothing else of the file needs no sync of its own.
void DownloadRun::bringUpToDate(AbstractDownloadPersistentInfo &snapshot)
{
    const Info newer = info();
    if (newer.folder != snapshot.folder || newer.files != snapshot.files)
        return;
    snapshot = newer;
    m_pending = Pending::Nothing;
}

void DownloadRun::onSyncFailed(const AbstractDownloadPersistentInfo &snapshot, int error)
{
    m_syncFailed = true;
    commit(snapshot);
    Q_EMIT saveFailed(Failure::make(Failure::Kind::NotOnDisk, Failure::Subject::of(snapshot),
                                    QString::fromLocal8Bit(std::strerror(error)), error));
}

void DownloadRun::commit(const AbstractDownloadPersistentInfo &snapshot)
{
    if (!m_list || m_isClaimLost)
        return;
    const Info record = whatMayBeSaid(snapshot);
    // Whoever takes back what the list says is about to change the file.
    if (takesBackFromList(record))
        writeAtOnce(record);
    else
        write(record);
}

/// Or from what it is about to have.
bool DownloadRun::takesBackFromList(const AbstractDownloadPersistentInfo &record) const
{
    return takesBack(record, m_saved) || (m_writing && takesBack(record, *m_writing));
}

AbstractDownloadPersistentInfo DownloadRun::whatMayBeSaid(const AbstractDownloadPersistentInfo &snapshot)
{
    Info record = snapshot;
    if (m_sources.areSeveral())
        m_sources.restore(record);
    // By its first sync a small file may have got its final name.
    if (m_file.plannedAt() > 0 && !record.files.isEmpty() && record.files.first().isOnDisk()) {
        const FileIdentity file = FileIdentity::of(record.filePath(0));
        m_file = file.isKnown() ? file : m_file;
    }
    if (m_syncFailed) {
        record.files = m_saved.files;
        record.finishedTime = m_saved.finishedTime;
        record.setFinished(m_saved.isFinished(), false);
    }
    return record;
}

/// Where the list answers at once, whoever called this goes on by itself.
void DownloadRun::write(const AbstractDownloadPersistentInfo &record)
{
    const DownloadStore::Holdings known = holdings();
    const auto onAnswer = [this, record, memory = known.memory, number = ++m_writes](const Failure &failure) {
        m_writing.reset();
        onWritten(number, record, memory, failure);
        if (!m_isAsking)
            afterSave();
    };
    m_writing = record;
    m_isAsking = true;
    m_list->save(record, known, this, onAnswer);
    m_isAsking = false;
}

void DownloadRun::writeAtOnce(const AbstractDownloadPersistentInfo &record)
{
    const auto lasting =
        takesBackFromList(record) ? DownloadStore::Lasting::Always : DownloadStore::Lasting::ThisRunOfTheMachine;
    const DownloadStore::Holdings known = holdings();
    const bool isDone = m_list->update(record, known, lasting);
    onWritten(++m_writes, record, known.memory, isDone ? Failure() : m_list->lastFailure());
}

/// @param number of the write; the answer to one that was overtaken comes later, and is older
void DownloadRun::onWritten(quint64 number, const AbstractDownloadPersistentInfo &record,
                            const std::optional<ResourceMemory> &memory, const Failure &failure)
{
    if (failure.kind == Failure::Kind::OwnedByOther) {
        loseClaim(failure);
    } else if (failure) {
        Failure told = failure;
        told.subject.id = record.id;
        m_refused = record;
        Q_EMIT saveFailed(told);
    } else if (number > m_written) {
        m_written = number;
        m_saved = record;
        m_refused.reset();
        if (memory)
            m_lease.memory = *memory;
        m_savedMemory = memory ? memory : m_savedMemory;
    }
}

void DownloadRun::loseClaim(const Failure &who)
{
    if (std::exchange(m_isClaimLost, true))
        return;
    Q_EMIT claimLost(who);
    // It may stand in the middle of telling something.
    QMetaObject::invokeMethod(this, &DownloadRun::stop, Qt::QueuedConnection);
}

/// What is remembered may be newer than the bytes beside it: it grows more doubtful, and never less.
DownloadStore::Holdings DownloadRun::holdings() const
{
    DownloadStore::Holdings holdings{m_file, m_contentEncoding, std::nullopt, m_lease.fence};
    if (m_guard && m_guard->memory() != m_savedMemory)
        holdings.memory = m_guard->memory();
    return holdings;
}

void DownloadRun::afterSave()
{
    const bool isOver = m_life > Life::Running;
    if (m_pending == Pending::AtOnce || (isOver && m_pending == Pending::Soon))
        begin(info());
    else if (m_pending == Pending::Soon)
        saveSoon();
    if (isOver && !isSaving())
        tellFinished();
}

void DownloadRun::end()
{
    if (m_life != Life::Running)
        return;
    advance(Life::Ending);
    if (const Info record = info(); hasFileOnDisk(record))
        OwnFiles::forget(record.filePath(0));
    save();
    // The download is still inside its own signal.
    if (!isSaving())
        QMetaObject::invokeMethod(this, &DownloadRun::tellFinished, Qt::QueuedConnection);
}

/// A save that came late may have told it already.
void DownloadRun::tellFinished()
{
    if (m_life != Life::Ending)
        return;
    advance(Life::Ended);
    Q_EMIT finished();
}
