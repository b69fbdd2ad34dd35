// SPDX-License-Identifier: MIT
#include <host/engine/downloadsession.h>

#include <host/engine/downloadrun.h>
#include <host/engine/downloadstream.h>
#include <host/engine/moduleregistry.h>
#include <host/network/downloadaccesschief.h>
#include <host/network/networkaccesschief.h>
#include <host/network/resourceguard.h>
#include <host/policy/diskcheck.h>
#include <host/policy/finishnow.h>
#include <host/storage/claimfence.h>
#include <host/storage/filetime.h>
#include <host/storage/replacedfile.h>
#include <inet/qt/download/framework/abstractdownloadmodule.h>

#include <QFileDevice>

#include <utility>

using namespace Qt::StringLiterals;

namespace
{

QList<QtHostAndPort> serversOf(const AbstractDownloadPersistentInfo &record)
{
    QList<QtHostAndPort> servers{hostAndPortFromUrl(record.downloadUrl())};
    for (const AbstractDownloadMirrorInfo &mirror : record.mirrors)
        servers.append(hostAndPortFromUrl(mirror.url));
    return servers;
}

}

bool DownloadSession::mayBegin(qint64 id, Failure *failure) const
{
    Q_ASSERT(QThread::currentThread() == thread());
    if (!m_closing && !m_running.contains(id))
        return true;
    *failure = Failure::make(Failure::Kind::CannotBegin, Failure::Subject::of(id), Clause::Kind::RunningOrEnding);
    return false;
}

bool DownloadSession::start(qint64 id, const Sources &sources, Failure *failure)
{
    if (!mayBegin(id, failure))
        return false;
    std::optional<Lease> lease = claimToRun(id, failure);
    if (!lease)
        return false;
    if (!fetchAgainIfGone(*lease)) {
        *failure = listFailure();
        leaveClaim(id, *failure);
        return false;
    }
    const bool isDiscarded = DiskCheck::isDiscarded(lease->record);
    DiskCheck::forgetSectionsWithoutBytes(lease->record);
    if (m_streams.contains(id) && !prepareStream(*lease, failure)) {
        releaseClaim(id);
        return false;
    }
    if (sources.areSeveral())
        sources.applyTo(lease->record);
    run(*lease, &m_list, isDiscarded ? AbstractDownloadCommand::Restart : AbstractDownloadCommand::Start, sources);
    return true;
}

bool DownloadSession::restart(qint64 id, Failure *failure)
{
    if (!mayBegin(id, failure))
        return false;
    std::optional<Lease> lease = claimToRun(id, failure);
    if (!lease)
        return false;
    // It is not to be deleted with what it says of the one that was.
    if (lease->record.isFinished() && lengthOnDisk(lease->record, lease->file) == -1)
        DiskCheck::forgetProgress(lease->record);
    run(*lease, &m_list, AbstractDownloadCommand::Restart);
    return true;
}

bool DownloadSession::beginReplacing(qint64 id, bool isUnwanted, Failure *failure)
{
    const auto plan = [this, id, isUnwanted](Lease &lease) {
        ReplacedFile::plan(lease.record, lease.file, isUnwanted);
        lease.options.checksumResult = ChecksumResult::NotCompared;
        const auto lasting = DownloadStore::Lasting::Always;
        const auto both = [&](DownloadStore &list) {
            return list.setOptions(id, lease.options, lease.fence)
                && list.update(lease.record, {{}, u""_s, ResourceMemory(), lease.fence}, lasting);
        };
        return m_list.together(both, lasting) ? Failure() : listFailure();
    };
    return change(id, plan, failure);
}

bool DownloadSession::finishNow(qint64 id, Failure *failure)
{
    if (DownloadRun *const running = m_running.value(id)) {
        *failure = FinishNow::refusal(running->info(), true);
        if (!*failure)
            running->finishNow();
        return !*failure;
    }
    std::optional<Lease> lease = mayBegin(id, failure) ? claimToRun(id, failure) : std::nullopt;
    if (!lease)
        return false;
    *failure = FinishNow::refusal(lease->record, false);
    if (!*failure && !keepThatItIsEarly(*lease))
        *failure = listFailure();
    if (*failure) {
        leaveClaim(id, *failure);
        return false;
    }
    // All that is there being all that there is, a start has nothing to fetch and gives the file its name.
    FinishNow::settle(lease->record);
    run(*lease, &m_list, AbstractDownloadCommand::Start);
    return true;
}

/// Before the file has its final name, and looks like any other.
bool DownloadSession::keepThatItIsEarly(Lease &lease)
{
    if (!FinishNow::isEarly(lease.record))
        return true;
    lease.memory.evidence.doubt = Evidence::Doubt::FinishedEarly;
    return m_list.update(lease.record, {lease.file, lease.contentEncoding, lease.memory, lease.fence},
                         DownloadStore::Lasting::ThisRunOfTheMachine);
}

qint64 DownloadSession::query(const DownloadRequest &request, Failure *failure)
{
    if (m_closing || !isServed(request.url, failure))
        return 0;
    AbstractDownloadPersistentInfo record = withoutSecrets(request).newRecord();
    record.id = --m_lastQueryId;
    record.files.clear();
    run({record, {}, {}, {}, {}}, nullptr, AbstractDownloadCommand::QueryInfoMinimal);
    return record.id;
}

bool DownloadSession::hold(qint64 id, Failure *failure)
{
    Lease lease;
    if (!takeLease(id, lease, failure))
        return false;
    if (!renewHeld(lease, failure)) {
        releaseClaim(id);
        return false;
    }
    m_held.insert(id, lease);
    m_servers.remove(id);
    return true;
}

bool DownloadSession::renewHeld(Lease &lease, Failure *failure)
{
    const auto asked = m_renewals.constFind(lease.record.id);
    if (asked == m_renewals.cend())
        return true;
    const DownloadOptions before = lease.options;
    asked->renew(lease.record);
    asked->changes.applyTo(lease.options);
    if (!updateUnder(lease, before)) {
        *failure = listFailure();
        return false;
    }
    m_renewals.erase(asked);
    return true;
}

void DownloadSession::letGo(qint64 id)
{
    m_held.remove(id);
    if (!m_running.contains(id))
        releaseClaim(id);
}

void DownloadSession::letGo(const QList<qint64> &ids)
{
    QList<qint64> free;
    for (const qint64 id : ids) {
        m_held.remove(id);
        m_servers.remove(id);
        if (!m_running.contains(id) && m_claimed.remove(id))
            free.append(id);
    }
    if (!free.isEmpty())
        m_list.releaseSoon(free);
}

const Lease *DownloadSession::lease(qint64 id) const
{
    const auto lease = m_held.constFind(id);
    return lease == m_held.cend() ? nullptr : &*lease;
}

void DownloadSession::stop(qint64 id)
{
    if (DownloadRun *const download = m_running.value(id))
        download->stop();
}

void DownloadSession::stopAll()
{
    const QList<qint64> ids = m_running.keys();
    for (qint64 id : ids)
        stop(id);
}

AbstractDownload *DownloadSession::createDownload(const AbstractDownloadPersistentInfo &record,
                                                  const std::shared_ptr<ResourceGuard> &guard, QObject *parent)
{
    return createDownload(record, QSharedPointer<DownloadAccessChief>::create(m_chief, guard), parent);
}

/// A download keeps the chief that its module has when it is made.
AbstractDownload *DownloadSession::createDownload(const AbstractDownloadPersistentInfo &record,
                                                  const QSharedPointer<DownloadAccessChief> &chief, QObject *parent)
{
    AbstractDownloadModule *const module = m_modules->moduleFor(record.url);
    if (!module)
        return nullptr;
    module->setNetworkAccessChief(chief);
    AbstractDownload *const download = module->createDownload(record.id, parent);
    module->setNetworkAccessChief(m_chief);
    return download;
}

void DownloadSession::prepare(AbstractDownload &download, const AbstractDownloadPersistentInfo &record,
                              const DownloadOptions &options)
{
    if (record.id > 0)
        trustServers(record, options);
    AbstractNetworkConsumerSettings settings = download.networkSettings();
    settings.ignoreSslErrors = settings.ignoreSslErrors || options.insecure;
    download.setNetworkSettings(settings);
    download.setNetworkUsageSettings(usageOf(options));
}

/// Who put an address into the list meant its server to get what is meant for it.
void DownloadSession::trustServers(const AbstractDownloadPersistentInfo &record, const DownloadOptions &options)
{
    QUrl url = record.url;
    if (!options.user.isEmpty()) {
        url.setUserName(options.user);
        url.setPassword(options.password);
    }
    m_chief->takeSecrets(url, nullptr);
    for (const AbstractDownloadMirrorInfo &mirror : record.mirrors)
        m_chief->takeSecrets(mirror.url, nullptr);
}

void DownloadSession::run(const Lease &lease, DownloadStore *list, AbstractDownloadCommand command,
                          const Sources &sources)
{
    const AbstractDownloadPersistentInfo &record = lease.record;
    const auto guard =
        std::make_shared<ResourceGuard>(list ? ResourceGuard::Task::Download : ResourceGuard::Task::Look);
    guard->setMayLead(record.postData.isEmpty());
    guard->setKeptHeaders(lease.options.headers);
    if (command != AbstractDownloadCommand::Restart)
        guard->setMemory(memoryOf(lease), record.bytesDownloaded(false) > 0);
    const auto chief = QSharedPointer<DownloadAccessChief>::create(m_chief, guard);
    AbstractDownload *const download = createDownload(record, chief, this);
    auto *const running = new DownloadRun(download, list, this);
    chief->serve(*download, serversOf(record));
    running->setChief(chief);
    running->setGuard(guard);
    if (list)
        running->setFence(std::make_shared<ClaimFence>(m_list, record.id, lease.fence));
    running->setSources(sources);
    running->setLasting(!m_streams.contains(record.id));
    running->setProxies([chief = m_chief](const QUrl &url) { return chief->proxyFor(url); });
    running->setUsers([chief = m_chief](const QUrl &url) { return chief->userFor(url); });
    Q_ASSERT_X(!m_running.contains(record.id), "DownloadSession", "one run of a download at a time");
    m_unsaved.forget(record.id);
    m_running.insert(record.id, running);
    relaySignals(running);
    download->setWritersThread(m_writers.threadFor(record.id));
    download->setSettings({});
    prepare(*download, record, lease.options);
    running->setUsage(usageOf(lease.options));
    download->setInfo(record);
    running->run(command, lease);
}

/// Also what writes nothing now, as from a server that is silent, is over where it is another's.
void DownloadSession::lookAfterClaims()
{
    const QList<DownloadRun *> runs = m_running.values();
    for (DownloadRun *const run : runs)
        run->lookAfterClaim();
}

ResourceMemory DownloadSession::memoryOf(const Lease &lease)
{
    ResourceMemory memory = lease.memory;
    const bool isKept = memory.evidence.answers > 0 || memory.evidence.doubt != Evidence::Doubt::None;
    if (!isKept && lease.record.bytesDownloaded(false) > 0)
        memory.evidence = Evidence::ofOldBytes();
    return memory;
}

void DownloadSession::relaySignals(DownloadRun *running)
{
    const qint64 id = running->id();
    AbstractDownload *const download = running->download();
    connect(download, &AbstractDownload::progressChanged, this,
            [this, id](qint64 done, qint64 total) { Q_EMIT progressChanged(id, done, total); });
    connect(download, &AbstractDownload::changed, this, [this, id] { Q_EMIT changed(id); });
    connect(download, &AbstractDownload::gotResponseHeaders, this,
            [this, running](qint64 section, const QList<QString> &lines) {
                if (!running->isTellingMadeUp())
                    Q_EMIT gotResponseHeaders(running->id(), section, lines);
            });
    connect(download, &AbstractDownload::sendingRequestHeaders, this,
            [this, running](qint64 section, const QList<QString> &lines) {
                if (!running->isTellingMadeUp())
                    Q_EMIT sendingRequestHeaders(running->id(), section, lines);
            });
    connect(download, &AbstractDownload::fileExistsActionRequired, this,
            [this, running](int file, const QList<QString> &paths) { onFileInTheWay(*running, file, paths); });
    connect(download, &AbstractDownload::performingFilesOperations, this,
            [this, id](bool performing) { Q_EMIT performingFilesOperations(id, performing); });
    connect(download, &AbstractDownload::stopping, this, [this, id] { Q_EMIT stopping(id); });
    connect(running, &DownloadRun::cannotGoOn, this, [this, id](const Failure &why) { Q_EMIT cannotGoOn(id, why); });
    connect(running, &DownloadRun::saveFailed, this, [this, id](const Failure &what) { warnOfSave(id, what); });
    connect(running, &DownloadRun::finished, this, [this, running] { onFinished(running); });
}

/// Of a file that is to be replaced it was said before.
void DownloadSession::onFileInTheWay(const DownloadRun &download, int fileIndex, const QList<QString> &paths)
{
    const bool mayReplace = !download.lease().options.isToBeCompared();
    const auto action = ReplacedFile::answer(download.info(), paths, mayReplace);
    if (action)
        fileExistsAction(download.id(), fileIndex, *action);
    else
        Q_EMIT fileExistsActionRequired(download.id(), fileIndex, paths);
}

/// What the list does not take of one download it takes of none: people hear of it once, until it is mended.
void DownloadSession::warnOfSave(qint64 id, const Failure &what)
{
    if (what.kind != Failure::Kind::CannotChangeList || !std::exchange(m_isListBehind, true))
        Q_EMIT warned(id, what);
}

void DownloadSession::onFinished(DownloadRun *running)
{
    const qint64 id = running->id();
    Q_ASSERT_X(m_running.value(id) == running, "DownloadSession", "a run ends once");
    AbstractDownloadPersistentInfo info = running->info();
    checkWhole(info, running->lease().file);
    if (id > 0 && info.isFinished() && !info.lastError && !running->lease().record.isFinished())
        info.setLastError({QFileDevice::WriteError, ErrorCategory::kFile, errorSourceHere(),
                           "the disk did not take all of the file"});
    if (m_options.takesServersTime && info.isFinished() && !info.files.isEmpty())
        FileTime::set(info.filePath(0), running->lease().file, info.files.first().lastModified);
    const auto details = running->details();
    const QList<QString> responseHeaders = running->responseHeaders();
    const QueryResult result = QueryResult::from(info, responseHeaders);
    m_running.remove(id);
    m_isListBehind = m_isListBehind && running->isListBehind();
    if (const std::optional<AbstractDownloadPersistentInfo> unsaved = running->unsaved())
        m_unsaved.keep(*unsaved, running->holdings());
    if (const auto lease = m_held.find(id); lease != m_held.end())
        *lease = running->lease();
    releaseClaim(id);
    running->deleteLater();
    if (m_closing && isIdle())
        QMetaObject::invokeMethod(this, &DownloadSession::endWriters, Qt::QueuedConnection);
    const Outbox::Scope scope(m_outbox);
    if (id < 0 && !info.lastError)
        m_outbox.put([this, id, result] { Q_EMIT queried(id, result); });
    m_outbox.put([this, id, info, details, responseHeaders] { Q_EMIT finished(id, info, details, responseHeaders); });
}
