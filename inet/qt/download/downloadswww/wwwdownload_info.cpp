// SPDX-License-Identifier: MIT
#include <inet/qt/download/downloadswww/wwwdownload.h>

#include <inet/qt/download/sources/downloadguidfromdownloadsource.h>

#include <QCoreApplication>

#include <numeric>

using namespace Qt::StringLiterals;

namespace
{

constexpr qint64 kSourceFields =
    AbstractDownloadPersistentInfo::FieldSourceUrls | AbstractDownloadPersistentInfo::FieldSourceRequest;
constexpr qint64 kSourceOrMirrorsFields = kSourceFields | AbstractDownloadPersistentInfo::FieldMirrors;

/// Used when neither the application nor a person has set one: servers that sort by it treat us as a browser then.
constexpr char kDefaultUserAgent[] =
    "Mozilla/5.0 (X11; Linux x86_64) AppleWebKit/537.36 (KHTML, like Gecko) Chrome/114.0.0.0 Safari/537.36";

QString updateUrlOption()
{
    return QCoreApplication::translate("QObject", "Update URL");
}

bool isUpdateUrl(const AbstractDownloadMergeOptions &options)
{
    return options.options.size() == 1 && options.options.first() == updateUrlOption();
}

bool isSameRequest(const AbstractDownloadPersistentInfo &a, const AbstractDownloadPersistentInfo &b)
{
    return a.url == b.url && a.cookies == b.cookies && a.postData == b.postData;
}

}

AbstractDownloadPersistentInfo WwwDownload::info() const
{
    return m_info ? *m_info : AbstractDownloadPersistentInfo();
}

AbstractDownloadPersistentInfo *WwwDownload::rwInfo()
{
    return m_info.get();
}

bool WwwDownload::setInfo(const AbstractDownloadPersistentInfo &info)
{
    if (!m_info) {
        m_info = QSharedPointer<AbstractDownloadPersistentInfo>::create(info);
        if (hasFile() && firstFile().size != -1 && firstFile().sections.isEmpty())
            firstFile().sections.append({0, firstFile().size, 0});
        serializeSections(false);
    } else {
        const ContentFate fate = checkNewInfoForSpecialCase(info, true);
        *m_info = info;
        settleContent(fate);
        if (!m_pendingContent.isEmpty())
            m_info->setFinished(false, true);
    }
    onInfoChanged(true, false, true);
    return true;
}

bool WwwDownload::updateInfoFields(const AbstractDownloadPersistentInfo &info, qint64 fields, BitFlagsUpdateMode mode)
{
    if (!m_info)
        return false;
    if ((fields & AbstractDownloadPersistentInfo::FieldLastError) && !info.lastError)
        clearLastError();
    ContentFate fate = ContentFate::Untouched;
    if (fields & AbstractDownloadPersistentInfo::FieldDestination)
        fate = checkNewInfoForSpecialCase(info, (fields & kSourceFields) != 0);
    if (!m_info->updateWith(info, fields, mode))
        return true;
    settleContent(fate);
    onInfoChanged((fields & kSourceOrMirrorsFields) != 0, false, true);
    if (!m_pendingContent.isEmpty())
        m_info->setFinished(false, true);
    return true;
}

WwwDownload::ContentFate WwwDownload::checkNewInfoForSpecialCase(const AbstractDownloadPersistentInfo &info,
                                                                 bool compareSource)
{
    if (!m_info)
        return ContentFate::Untouched;
    const bool isOtherSource =
        !isSameRequest(info, *m_info) || info.referer != m_info->referer || info.webPageUrl != m_info->webPageUrl;
    if (compareSource && isOtherSource) {
        const bool isLost =
            !m_pendingContent.isEmpty() && info.destinationType != AbstractDownloadPersistentInfo::ToMemory;
        m_pendingContent.clear();
        if (!isLost)
            return ContentFate::Untouched;
        forgetSections();
        return ContentFate::FetchedAgain;
    }
    if (m_info->destinationType == info.destinationType
        || m_info->destinationType != AbstractDownloadPersistentInfo::ToMemory || m_info->content.isEmpty())
        return ContentFate::Untouched;

    ContentFate fate = ContentFate::Pending;
    if (m_info->isFinished()) {
        m_pendingContent = m_info->content;
        m_info->setFinished(false, true);
    } else {
        fate = ContentFate::FetchedAgain;
        forgetSections();
    }
    m_info->content.clear();
    return fate;
}

// Their bytes are gone, and nobody else has them.
void WwwDownload::forgetSections()
{
    if (hasFile())
        firstFile().sections.clear();
    if (!isRunning())
        removeAllSections();
}

// A given record still shows the bytes that have just been taken out of the old one.
void WwwDownload::settleContent(ContentFate fate)
{
    if (fate == ContentFate::Untouched)
        return;
    m_info->content.clear();
    if (fate == ContentFate::FetchedAgain && hasFile())
        firstFile().sections.clear();
}

bool WwwDownload::serializeSections(bool toRecord)
{
    if (!hasFile())
        return true;
    if (!toRecord) {
        for (const AbstractDownloadSection &range : firstFile().sections)
            m_pack.addItem(createSectionInstance(range, false));
        return true;
    }
    QList<AbstractDownloadSection> ranges;
    for (const SectionPointer &item : sortedSections(false))
        ranges.append(item->section());
    if (!ranges.isEmpty())
        firstFile().sections = ranges;
    return true;
}

void WwwDownload::onInfoChanged(bool sourceChanged, bool changedArg, bool emitChanged)
{
    adjustInfo();
    if (sourceChanged)
        m_mirrors->setMirrors(m_info->sourceInfo(), m_info->mirrors);
    if (m_fileOps)
        applyFileOpsSettings();
    m_pack.setNetworkSettings(myNetworkSettings());
    if (emitChanged)
        Q_EMIT changed(changedArg);
}

void WwwDownload::adjustInfo()
{
    if (!m_info)
        return;
    m_info->moduleId = QLatin1String(kModuleId);
    m_info->flags |= AbstractDownloadPersistentInfo::ModuleFlags;
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
    if (!hasFile() || firstFile().bytesDownloaded() == bytesDownloaded())
        return;
    serializeSections(true);
    Q_EMIT changed(false);
    if (hasFile())
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
    return m_info ? m_info->lastError : AbstractError();
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
    if (!m_info || !m_info->lastError)
        return;
    m_info->setLastError(AbstractError());
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
    if (!m_info)
        return CompareDownloadsResult::Different;
    if (isSameContent(other))
        return CompareDownloadsResult::SameContent;
    return isSameRequest(*m_info, other) ? CompareDownloadsResult::SameSource : CompareDownloadsResult::Different;
}

bool WwwDownload::isSameContent(const AbstractDownloadPersistentInfo &other) const
{
    if (!m_info)
        return false;
    bool same = false;
    bool differs = false;
    WwwDownloadSection::compareDownloadsByHttpEtag(m_info->guid, other.guid, same, differs);
    if (same || differs)
        return same;

    AbstractDownloadGuid mine;
    AbstractDownloadGuid others;
    bool isMineReliable = false;
    bool isOthersReliable = false;
    DownloadGuidFromDownloadSource derive;
    if (derive.get(m_info->sourceInfo(), mine, isMineReliable)
        && derive.get(other.sourceInfo(), others, isOthersReliable) && !mine.value.isEmpty() && mine.kind == others.kind
        && mine.value == others.value) {
        if (isMineReliable && isOthersReliable)
            return true;
        if (!other.isFinished() && other.lastError)
            return true;
    }

    if (other.isFinished() || !hasFile() || other.files.isEmpty())
        return false;
    const AbstractDownloadFileInfo &file = firstFile();
    const AbstractDownloadFileInfo &otherFile = other.files.first();
    return file.size >= 1 && file.size == otherFile.size && file.name == otherFile.name;
}

bool WwwDownload::acquireDownloadsMergeOptions(const AbstractDownloadPersistentInfo &other,
                                               AbstractDownloadMergeOptions &thisOptions,
                                               AbstractDownloadMergeOptions &otherOptions)
{
    if (isSameContent(other) && !other.isFinished()) {
        thisOptions.options.append(updateUrlOption());
        otherOptions = thisOptions;
    }
    return true;
}

bool WwwDownload::mergeIntoThisDownload(const AbstractDownloadPersistentInfo &other,
                                        const AbstractDownloadMergeOptions &options)
{
    if (options.options.isEmpty())
        return true;
    if (!isUpdateUrl(options) || !m_info)
        return false;
    m_info->copySourceFrom(other);
    onInfoChanged(true, true, true);
    return true;
}

bool WwwDownload::mergeIntoOtherDownload(AbstractDownloadPersistentInfo &other,
                                         const AbstractDownloadMergeOptions &options)
{
    if (options.options.isEmpty())
        return true;
    if (!isUpdateUrl(options) || !m_info)
        return false;
    other.copySourceFrom(*m_info);
    return true;
}
