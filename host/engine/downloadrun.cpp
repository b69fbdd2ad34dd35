// SPDX-License-Identifier: MIT
#include <host/engine/downloadrun.h>

#include <host/network/downloadaccesschief.h>
#include <host/network/resourceguard.h>
#include <host/parsing/authchallenges.h>
#include <host/policy/contentencoding.h>
#include <host/policy/finishnow.h>
#include <host/policy/proxychoice.h>
#include <host/storage/claimfence.h>
#include <inet/qt/download/framework/ownfiles.h>
#include <inet/qt/download/framework/targetfilename.h>

#include <utility>

using namespace Qt::StringLiterals;

namespace
{

constexpr int kUnauthorized = 401;
constexpr int kProxyUnauthorized = 407;

using Info = AbstractDownloadPersistentInfo;
using File = AbstractDownloadFileInfo;

/// By an answer, which has no words of its own.
bool isAskingForLogin(const AbstractError &error)
{
    return error.category == ErrorCategory::kHttp && (error.code == kUnauthorized || error.code == kProxyUnauthorized)
        && error.description.empty();
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
    m_saveTimer.setInterval(m_leastRestMs);
    connect(&m_saveTimer, &QTimer::timeout, this, &DownloadRun::save);
    connect(m_syncer, &FileSyncer::synced, this, &DownloadRun::onSynced);
    connect(m_download, &AbstractDownload::changed, this, &DownloadRun::onChanged);
    connect(m_download, &AbstractDownload::running, this, &DownloadRun::onRunning);
    connect(m_download, &AbstractDownload::performingFilesOperations, this, &DownloadRun::onFilesOperations);
    connect(m_download, &AbstractDownload::gotResponseHeaders, this, &DownloadRun::onResponseHeaders);
}

DownloadRun::~DownloadRun()
{
    unguard();
}

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
    if (m_chief)
        status.transfers = m_chief->transfers();
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
    const Outbox::Scope scope(m_outbox);
    transition(Life::Running);
    m_lease = lease;
    m_saved = info();
    m_file = lease.file;
    m_contentEncoding = lease.contentEncoding;
    if (hasFileOnDisk(m_saved) && !m_saved.isFinished())
        OwnFiles::set(m_saved.filePath(0), m_file);
    if (hasFileOnDisk(m_saved))
        guard(m_saved.filePath(0));
    const bool isAnew = command == AbstractDownloadCommand::Restart;
    if (isAnew)
        m_savedMemory.reset();
    else
        forgetThatItIsEarly();
    if (!isAnew || forgetBytes())
        m_download->doCommand(command);
    // A command that has nothing to do begins no run, or one that is over by now.
    if (!m_download->isRunning())
        end();
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
    const QUrl server = record.finalSource();
    const QUrl proxy = isProxys && m_proxyFor ? m_proxyFor(server) : QUrl();
    const QString who = proxy.isEmpty() ? u'"' + server.host() + u'"' : ProxyChoice::nameOf(proxy);
    const QString serversUser = m_userFor ? m_userFor(server) : QString();
    const QString user = isProxys ? proxy.userName(QUrl::FullyDecoded) : serversUser;
    return AuthChallenges::refusal(who, AuthChallenges::valueIn(m_responseHeaders, isProxys), user).toStdString();
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
    // Before its first writer opens it.
    if (!performing && hasFileOnDisk(record))
        guard(record.filePath(0));
    if (!performing || record.destinationType != Info::ToFolder || record.files.isEmpty()
        || record.files.first().isOnDisk())
        return;
    setMaking(record.folder + u'/' + record.files.first().name, othersFiles(record));
    m_file = FileIdentity::planned();
    if (!m_syncing && m_list && !m_isClaimLost)
        writeAtOnce(whatMayBeSaid(record));
}

void DownloadRun::guard(const QString &path)
{
    if (!m_fence || m_guarded.contains(path))
        return;
    m_guarded.insert(path, OwnFiles::setPermission(path, [fence = m_fence] { return fence->holds(); }));
}

/// What other downloads have begun under the name that this one is to have, whether they run or rest. Where the list
/// cannot say whose it is, it is another's.
QList<FileIdentity> DownloadRun::othersFiles(const Info &record) const
{
    const QString &name = record.files.first().name;
    QStringList parts;
    for (const bool isChosen : {false, true})
        parts.append(TargetFileName::partOf(TargetFileName::fromPath(name, isChosen)));
    parts.removeDuplicates();
    QList<FileIdentity> files;
    for (const QString &part : std::as_const(parts)) {
        const FileIdentity file = FileIdentity::of(record.folder + u'/' + part);
        if (file.isKnown() && m_list && (m_list->isBegun(record.folder, part, record.id) || m_list->lastFailure()))
            files.append(file);
    }
    return files;
}

/// What it will be called, only who makes it finds out. @param path empty = nothing is to be made
void DownloadRun::setMaking(const QString &path, const QList<FileIdentity> &others)
{
    if (!m_making.isEmpty())
        OwnFiles::endMaking(m_making);
    m_making = path;
    OwnFiles::Making making{{}, others};
    if (m_fence)
        making.mayMake = [fence = m_fence] { return fence->holds(); };
    if (!path.isEmpty())
        OwnFiles::setMaking(path, making);
}

/// What outlived the list would ask it no more.
void DownloadRun::unguard()
{
    setMaking({}, {});
    for (auto guarded = m_guarded.cbegin(); guarded != m_guarded.cend(); ++guarded) {
        OwnFiles::takeBackPermission(guarded.key(), guarded.value());
        OwnFiles::forget(guarded.key(), m_file);
    }
    m_guarded.clear();
}

/// Before the file's first writer opens it: what nobody keeps takes no more room than what is written.
void DownloadRun::leaveSpaceUntaken()
{
    Info *const record = m_download->rwInfo();
    if (record && !record->files.isEmpty())
        record->files.first().fileFlags |= File::Preallocated;
}

void DownloadRun::end()
{
    if (m_life != Life::Running)
        return;
    const Outbox::Scope scope(m_outbox);
    // Who was refused the file ends with the error of a disk.
    if (const Failure lost = m_fence ? m_fence->lost() : Failure())
        loseClaim(lost);
    transition(Life::Ending);
    if (const Info record = info(); hasFileOnDisk(record))
        OwnFiles::forget(record.filePath(0), m_file);
    unguard();
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
    transition(Life::Ended);
}

bool DownloadRun::hasFileOnDisk(const Info &info)
{
    return info.destinationType == Info::ToFolder && !info.files.isEmpty() && info.files.first().isOnDisk();
}
