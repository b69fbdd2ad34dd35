// SPDX-License-Identifier: MIT
#include <inet/qt/download/downloadswww/wwwdownload.h>

#include <inet/qt/download/framework/assertion.h>
#include <inet/qt/download/framework/runguard.h>
#include <inet/qt/download/framework/threadaffinity.h>

#include <numeric>

using namespace Qt::StringLiterals;

namespace
{

constexpr qint64 kSourceOrMirrorsFields = AbstractDownloadPersistentInfo::FieldSourceUrls
    | AbstractDownloadPersistentInfo::FieldSourceRequest | AbstractDownloadPersistentInfo::FieldMirrors;

/// Used when neither the application nor a person has set one: servers that sort by it treat us as a browser then.
constexpr char kDefaultUserAgent[] =
    "Mozilla/5.0 (X11; Linux x86_64) AppleWebKit/537.36 (KHTML, like Gecko) Chrome/114.0.0.0 Safari/537.36";

}

AbstractDownloadPersistentInfo WwwDownload::info() const
{
    return m_record ? *m_record : AbstractDownloadPersistentInfo();
}

AbstractDownloadPersistentInfo *WwwDownload::rwInfo()
{
    return m_record.shared().get();
}

bool WwwDownload::setInfo(const AbstractDownloadPersistentInfo &info)
{
    DOWNLOAD_ASSERT(isCalledAtHome(this));
    if (!m_record) {
        m_record.begin(info);
        serializeSections(false);
    } else if (m_record.replace(info)) {
        forgetSections();
    }
    onInfoChanged(true, false, true);
    return true;
}

bool WwwDownload::updateInfoFields(const AbstractDownloadPersistentInfo &info, qint64 fields, BitFlagsUpdateMode mode)
{
    DOWNLOAD_ASSERT(isCalledAtHome(this));
    if (!m_record)
        return false;
    const RunGuard lives(this);
    if ((fields & AbstractDownloadPersistentInfo::FieldLastError) && !info.lastError)
        clearLastError();
    if (!lives)
        return false;
    bool isFetchedAgain = false;
    const bool isChanged = m_record.update(info, fields, mode, &isFetchedAgain);
    if (isFetchedAgain)
        forgetSections();
    if (!isChanged)
        return true;
    onInfoChanged((fields & kSourceOrMirrorsFields) != 0, false, true);
    if (lives)
        m_record.reopenForPendingContent();
    return true;
}

// Their bytes are gone, and nobody else has them.
void WwwDownload::forgetSections()
{
    if (!isRunning())
        removeAllSections();
}

bool WwwDownload::serializeSections(bool toRecord)
{
    if (!toRecord) {
        for (const AbstractDownloadSection &range : m_record.ranges())
            m_pack.addItem(createSectionInstance(range, false));
        return true;
    }
    RecordKeeper::Ranges ranges;
    for (const SectionPointer &item : sortedSections(false))
        ranges.append(item->section());
    m_record.keep(ranges);
    return true;
}

void WwwDownload::onInfoChanged(bool sourceChanged, bool changedArg, bool emitChanged)
{
    m_record.adjustInfo(QLatin1String(kModuleId));
    if (sourceChanged)
        m_mirrors->setMirrors(m_record->sourceInfo(), m_record->mirrors);
    if (m_fileOps)
        applyFileOpsSettings();
    m_pack.setNetworkSettings(myNetworkSettings());
    if (emitChanged)
        Q_EMIT changed(changedArg);
}

void WwwDownload::onPersistentInfoChanged()
{
    Q_EMIT changed(false);
}

qint64 WwwDownload::bytesDownloaded() const
{
    const QList<SectionPointer> items = sections(false);
    return std::accumulate(items.cbegin(), items.cend(), qint64(0),
                           [](qint64 sum, const SectionPointer &item) { return sum + item->section().downloaded; });
}

void WwwDownload::updateProgress()
{
    if (!m_record.isBehind(bytesDownloaded()))
        return;
    serializeSections(true);
    const RunGuard lives(this);
    Q_EMIT changed(false);
    if (lives && hasFile())
        Q_EMIT progressChanged(bytesDownloaded(), firstFile().size);
}

QMap<int, AbstractDownload::Progress> WwwDownload::tasksProgress() const
{
    QMap<int, Progress> progress;
    if (!isRunning() || !hasFile())
        return progress;
    const AbstractDownloadFileInfo &file = firstFile();
    progress.insert(DownloadingTask, {file.bytesDownloaded(), file.size});
    if (m_plan.allocatedSize() != -1 && (file.fileFlags & AbstractDownloadFileInfo::Preallocated) == 0)
        progress.insert(AllocatingFileTask, {m_plan.allocatedSize(), file.size});
    return progress;
}

AbstractError WwwDownload::lastError() const
{
    return m_record ? m_record->lastError : AbstractError();
}

QList<QSslError> WwwDownload::lastSslErrors() const
{
    return m_lastSslErrors;
}

QDateTime WwwDownload::lastErrorTime() const
{
    return m_lastErrorTime;
}

void WwwDownload::clearLastError()
{
    clearLastError(true);
}

void WwwDownload::clearLastError(bool notify)
{
    rememberError(AbstractError());
    m_lastSslErrors.clear();
    m_pack.clearLastError();
    if (!m_record || !m_record->lastError)
        return;
    m_record->setLastError(AbstractError());
    if (notify)
        Q_EMIT changed(false);
}

void WwwDownload::setNetworkSettings(const AbstractNetworkConsumerSettings &settings)
{
    m_networkSettings = settings;
    m_pack.setNetworkSettings(myNetworkSettings());
}

AbstractNetworkConsumerSettings WwwDownload::networkSettings() const
{
    return m_networkSettings;
}

AbstractNetworkConsumerSettings WwwDownload::myNetworkSettings() const
{
    AbstractNetworkConsumerSettings settings = m_networkSettings;
    if (settings.userAgent.isEmpty()) {
        if (const QSharedPointer<QtAppSystemDefaultUserAgentManager> manager = m_userAgentManager.toStrongRef())
            settings.userAgent = manager->userAgent();
    }
    if (settings.userAgent.isEmpty())
        settings.userAgent = QLatin1String(kDefaultUserAgent);
    return settings;
}

void WwwDownload::setNetworkUsageSettings(const NetworkUsageSettings &settings)
{
    m_pack.setNetworkUsageSettings(settings);
    onGlobalConnectionsChanged();
}

NetworkUsageSettings WwwDownload::networkUsageSettings() const
{
    return m_pack.networkUsageSettings();
}

QtConnectionsMap WwwDownload::connectionsMap() const
{
    return m_pack.connectionsMap();
}

qint64 WwwDownload::speed(NetworkTrafficDirection direction, bool payloadOnly) const
{
    return m_pack.speed(direction, payloadOnly);
}

void WwwDownload::setSettings(const AbstractDownloadSettings &settings)
{
    m_settings = settings;
    applyFileOpsSettings();
}

AbstractDownloadSettings WwwDownload::settings() const
{
    return m_settings;
}

CompareDownloadsResult WwwDownload::compareDownloads(const AbstractDownloadPersistentInfo &other) const
{
    if (other.moduleId != QLatin1String(kModuleId))
        return CompareDownloadsResult::OtherModule;
    if (!m_record)
        return CompareDownloadsResult::Different;
    if (isSameContent(other))
        return CompareDownloadsResult::SameContent;
    return RecordKeeper::isSameRequest(*m_record, other) ? CompareDownloadsResult::SameSource
                                                         : CompareDownloadsResult::Different;
}

bool WwwDownload::isSameContent(const AbstractDownloadPersistentInfo &other) const
{
    return m_record.isSameContent(other);
}

bool WwwDownload::acquireDownloadsMergeOptions(const AbstractDownloadPersistentInfo &other,
                                               AbstractDownloadMergeOptions &thisOptions,
                                               AbstractDownloadMergeOptions &otherOptions)
{
    if (isSameContent(other) && !other.isFinished()) {
        thisOptions.options.append(RecordKeeper::updateUrlOption());
        otherOptions = thisOptions;
    }
    return true;
}

bool WwwDownload::mergeIntoThisDownload(const AbstractDownloadPersistentInfo &other,
                                        const AbstractDownloadMergeOptions &options)
{
    if (options.options.isEmpty())
        return true;
    if (!RecordKeeper::isUpdateUrl(options) || !m_record)
        return false;
    m_record->copySourceFrom(other);
    onInfoChanged(true, true, true);
    return true;
}

bool WwwDownload::mergeIntoOtherDownload(AbstractDownloadPersistentInfo &other,
                                         const AbstractDownloadMergeOptions &options)
{
    if (options.options.isEmpty())
        return true;
    if (!RecordKeeper::isUpdateUrl(options) || !m_record)
        return false;
    other.copySourceFrom(*m_record);
    return true;
}
