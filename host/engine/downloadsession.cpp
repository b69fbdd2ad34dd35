// SPDX-License-Identifier: MIT
#include <host/engine/downloadsession.h>

#include <host/engine/downloadrun.h>
#include <host/engine/downloadstream.h>
#include <host/engine/moduleregistry.h>
#include <host/network/networkaccesschief.h>
#include <host/parsing/urlcredentials.h>
#include <inet/qt/download/framework/abstractdownloadmodule.h>
#include <inet/qt/download/framework/abstractnetworkconsumersstats.h>
#include <inet/qt/download/framework/qtappsystemdefaultuseragentmanager.h>

#include <QCoreApplication>

using namespace Qt::StringLiterals;

namespace
{

Failure cannotChange(qint64 id, Clause::Kind reason)
{
    return Failure::make(Failure::Kind::CannotChange, Failure::Subject::of(id), reason);
}

}

DownloadSession::DownloadSession(QObject *parent)
    : QObject(parent)
    , m_unsaved(m_list, this)
    , m_userAgentManager(QSharedPointer<QtAppSystemDefaultUserAgentManager>::create())
{
    connect(&m_writers, &WriterThreads::ended, this, &DownloadSession::closed);
}

DownloadSession::~DownloadSession()
{
    for (DownloadRun *download : std::as_const(m_running)) {
        download->disconnect(this);
        delete download;
    }
    m_running.clear();
    m_unsaved.writeAllNow();
    releaseRest();
    // Managers and replies wait for an event loop to delete them, which may have run for the last time.
    if (m_chief)
        m_chief->endTransfers();
}

bool DownloadSession::open(const SessionOptions &options, Failure *failure)
{
    Q_ASSERT_X(!m_writers.hasBegun(), "DownloadSession", "it is open already");
    m_options = options;
    m_openedAt = FileIdentity::now();
    m_chief = QSharedPointer<NetworkAccessChief>::create();
    AbstractNetworkConsumerSettings settings = m_chief->defaultConsumerSettings();
    settings.ignoreSslErrors = options.ignoreSslErrors;
    m_chief->setDefaultConsumerSettings(settings);
    m_chief->setUsageSettings(options.allTogether);
    const bool areCertificatesUsable =
        options.caCertificatesFile.isEmpty() || m_chief->addCaCertificates(options.caCertificatesFile, failure);
    if (!areCertificatesUsable || !m_chief->apply(options.network, failure))
        return false;
    prepareModules();
    if (!m_list.open({options.listPath, options.isListKept, options.isListNeeded})) {
        *failure = listFailure();
        return false;
    }
    connect(&m_list, &StoreThread::lapsed, this, &DownloadSession::lookAfterClaims);
    m_writers.begin();
    return true;
}

QList<Failure> DownloadSession::warnings() const
{
    QList<Failure> warnings = m_chief->warnings();
    if (m_list.warning())
        warnings.append(m_list.warning());
    return warnings;
}

bool DownloadSession::setUrl(qint64 id, const DownloadRequest &asked, Failure *failure)
{
    if (!isServed(asked.url, failure))
        return false;
    const DownloadRequest request = withoutSecrets(asked);
    const auto merge = [this, &request, id](Lease &lease) {
        AbstractDownloadPersistentInfo &record = lease.record;
        if (record.isFinished())
            return cannotChange(id, Clause::Kind::Finished);
        // The module knows which of a record's fields belong to the address.
        const std::unique_ptr<AbstractDownload> download(
            m_modules->moduleFor(request.url)->createDownload(id, nullptr));
        download->setInfo(record);
        AbstractDownloadPersistentInfo fresh = record;
        fresh.url = request.url;
        fresh.effectiveUrl.clear();
        fresh.finalUrl.clear();
        if (!download->mergeIntoThisDownload(fresh, {{u"Update URL"_s}}))
            return cannotChange(id, Clause::Kind::NoOtherAddress);
        forgetSecretsOf(record.url, request.url, lease.options);
        request.changes.applyTo(lease.options);
        record = download->info();
        // What failed was the address that it had.
        record.lastError = {};
        record.lastErrorTime = {};
        addHarmless(request.headers, record);
        return Failure();
    };
    return change(id, merge, failure);
}

bool DownloadSession::remove(qint64 id, bool withFile, Failure *failure)
{
    const auto removed = [this, id, withFile](Lease &lease) {
        const Failure undeleted = leaveDisk(lease, withFile);
        return undeleted || m_list.remove(id, lease.fence) ? undeleted : listFailure();
    };
    if (!change(id, removed, failure))
        return false;
    m_held.remove(id);
    m_streams.remove(id);
    return true;
}

int DownloadSession::connections() const
{
    return unitedEntry(m_chief->consumersStats()->connectionsMap()).count;
}

int DownloadSession::connectionsOf(qint64 id) const
{
    const DownloadRun *const download = m_running.value(id);
    return download ? unitedEntry(download->download()->connectionsMap()).count : 0;
}

int DownloadSession::connectionsTo(const QtHostAndPort &server) const
{
    return m_chief->consumersStats()->connectionsMap().value(server).count;
}

std::optional<AbstractDownloadPersistentInfo> DownloadSession::record(qint64 id)
{
    return m_list.load(id);
}

QtHostAndPort DownloadSession::serverOf(qint64 id)
{
    if (const auto known = m_servers.constFind(id); known != m_servers.cend())
        return *known;
    return hostAndPortFromUrl(record(id).value_or(AbstractDownloadPersistentInfo()).downloadUrl());
}

Failure DownloadSession::whyNoRecord(qint64 id) const
{
    const Failure failure = m_list.lastFailure();
    return failure ? failure : Failure::make(Failure::Kind::NoSuchDownload, Failure::Subject::of(id));
}

DownloadOptions DownloadSession::options(qint64 id)
{
    if (const Lease *const held = lease(id))
        return held->options;
    return id > 0 ? m_list.options(id) : DownloadOptions();
}

bool DownloadSession::setOptions(qint64 id, const DownloadOptions &options, Failure *failure)
{
    return changeOptions(
        id, [&options](DownloadOptions &kept) { kept = options; }, failure);
}

bool DownloadSession::changeChecksum(qint64 id, const std::function<void(DownloadOptions &)> &how, Failure *failure)
{
    *failure = m_unsaved.writeNow(id);
    if (!*failure && changeOptions(id, how, failure))
        return true;
    if (const auto held = m_held.find(id); held != m_held.end())
        how(held->options);
    const auto put = [id, how, fence = fenceOf(id)](DownloadStore &list) {
        DownloadOptions options = list.options(id);
        if (list.lastFailure())
            return false;
        how(options);
        return list.setOptions(id, options, fence);
    };
    m_unsaved.keep(id, {put});
    return false;
}

bool DownloadSession::setDigestResult(qint64 id, ChecksumResult result, Failure *failure)
{
    if (const auto held = m_held.find(id); held != m_held.end())
        held->memory.evidence.digest = result;
    const auto put = [id, result, fence = fenceOf(id)](DownloadStore &list) {
        return list.setDigestResult(id, result, fence);
    };
    // The record that is to come first says what was known before.
    *failure = m_unsaved.writeNow(id);
    if (!*failure && put(m_list))
        return true;
    *failure = *failure ? *failure : listFailure();
    m_unsaved.keep(id, {put, true});
    return false;
}

void DownloadSession::setUsage(qint64 id, const NetworkUsageSettings &usage)
{
    if (DownloadRun *const download = m_running.value(id))
        download->setUsage(usage);
}

void DownloadSession::setUsageOfAll(const NetworkUsageSettings &usage)
{
    m_options.allTogether = usage;
    m_chief->setUsageSettings(usage);
}

NetworkUsageSettings DownloadSession::usageOf(const DownloadOptions &options) const
{
    NetworkUsageSettings usage = m_options.usage;
    if (options.rateLimit > 0)
        usage.downloadLimit = options.rateLimit;
    if (options.connections > 0)
        usage.maximumConnections = options.connections;
    if (options.connectionsPerServer > 0)
        usage.maximumConnectionsPerServer = options.connectionsPerServer;
    return usage;
}

AbstractDownloadPersistentInfo DownloadSession::info(qint64 id) const
{
    const DownloadRun *const download = m_running.value(id);
    return download ? download->info() : AbstractDownloadPersistentInfo();
}

DownloadDetails DownloadSession::details(qint64 id) const
{
    const DownloadRun *const download = m_running.value(id);
    return download ? download->details() : DownloadDetails();
}

DownloadStatus DownloadSession::status(qint64 id) const
{
    const DownloadRun *const download = m_running.value(id);
    return download ? download->status() : DownloadStatus();
}

void DownloadSession::fileExistsAction(qint64 id, int fileIndex, AbstractDownloadFileExistsAction action)
{
    if (DownloadRun *const download = m_running.value(id))
        download->download()->fileExistsAction(fileIndex, action);
}

void DownloadSession::close()
{
    if (m_closing)
        return;
    m_closing = true;
    stopAll();
    if (isIdle())
        QMetaObject::invokeMethod(this, &DownloadSession::endWriters, Qt::QueuedConnection);
}

/// They are not looked for yet.
void DownloadSession::prepareModules()
{
    m_modules = new ModuleRegistry(m_options.moduleFolders, this);
    m_modules->setPreparation([this](AbstractDownloadModule &module) {
        module.setNetworkAccessChief(m_chief);
        module.setUserAgentManager(m_userAgentManager);
        module.initialize(true);
    });
    const auto warn = [this](const Failure &failure) { Q_EMIT warned(0, failure); };
    connect(m_modules, &ModuleRegistry::refused, this, warn, Qt::QueuedConnection);
}

bool DownloadSession::isServed(const QUrl &url, Failure *failure)
{
    *failure = {};
    if (m_modules->moduleFor(url))
        return true;
    Failure::Subject subject;
    subject.url = url.adjusted(QUrl::RemovePassword);
    const Failure noModule = m_modules->failure();
    *failure = noModule ? noModule : Failure::make(Failure::Kind::UnsupportedUrl, subject);
    return false;
}

/// The record of a download holds nothing that only its server may know; the chief keeps that.
DownloadRequest DownloadSession::withoutSecrets(const DownloadRequest &request)
{
    DownloadRequest result = request;
    if (request.options.storeSecrets && result.options.user.isEmpty()) {
        result.options.user = result.changes.user = request.url.userName(QUrl::FullyDecoded);
        result.options.password = result.changes.password = request.url.password(QUrl::FullyDecoded);
    }
    result.url = m_chief->takeSecrets(request.url, nullptr);
    result.headers.clear();
    result.options.headers = takeHeaders(result.url, request.headers, request.headersForAll, &result.headers);
    result.changes.secretHeaders = result.options.headers;
    result.referer = QString::fromUtf8(UrlCredentials::withoutLogin(request.referer.toUtf8()));
    for (QUrl &mirror : result.mirrors)
        mirror = m_chief->takeSecrets(mirror, nullptr);
    if (const QString source = result.options.checksumSource; source.contains("://"_L1)) {
        result.options.checksumSource = m_chief->takeSecrets(QUrl(source), nullptr).toString(QUrl::FullyEncoded);
        const OptionRow *const row = result.changes.values.table().find(u"checksum-file"_s);
        result.changes.values.give(*row, {result.options.checksumSource, {}});
    }
    return result;
}

void DownloadSession::endWriters()
{
    // Downloads let go of their sections, and these of their writers, each by a deferred deletion. The writers' threads
    // must still be there for the last of them.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    m_writers.end();
}
