// SPDX-License-Identifier: MIT
#include <inet/qt/download/downloadswww/wwwdownloadsmodule.h>

#include <inet/qt/download/downloadswww/wwwdownload.h>
#include <inet/qt/download/framework/abstractdownloadfileops.h>
#include <inet/qt/download/records/webschemes.h>
#include <inet/qt/download/records/wwwdownloadsourceinfo.h>

#include <QMetaType>

namespace
{

/// Queued signals find a type by its name: it has to be known under exactly this one.
template<typename T>
void ensureRegistered(const char *name)
{
    const QMetaType known = QMetaType::fromName(name);
    if (!known.isValid() || !known.isRegistered())
        qRegisterMetaType<T>(name);
}

void registerRecords()
{
    ensureRegistered<AbstractDownloadPersistentInfo>("AbstractDownloadPersistentInfo");
    ensureRegistered<BitFlagsUpdateMode>("BitFlagsUpdateMode");
    ensureRegistered<AbstractDownloadCommand>("AbstractDownloadCommand");
    ensureRegistered<NetworkTrafficDirection>("NetworkTrafficDirection");
    ensureRegistered<AbstractError>("AbstractError");
    ensureRegistered<QVector<qint64>>("QVector<qint64>");
    ensureRegistered<QVector<quint64>>("QVector<quint64>");
    ensureRegistered<AbstractDownloadCreatedBy>("AbstractDownloadCreatedBy");
    ensureRegistered<AbstractDownloadPersistentInfoSortByPlusOrder>("AbstractDownloadPersistentInfoSortByPlusOrder");
    ensureRegistered<QtHostAndPort>("QtHostAndPort");
    ensureRegistered<QtConnectionsMap>("QtConnectionsMap");
    ensureRegistered<AbstractNewDownloadsRequest>("AbstractNewDownloadsRequest");
    ensureRegistered<AbstractNewDownloadsRequestJob>("AbstractNewDownloadsRequestJob");
    ensureRegistered<AbstractDownloadFileOps::FileInitializeOperation>(
        "AbstractDownloadFileOps::FileInitializeOperation");
    ensureRegistered<QVector<AbstractDownloadFileOps::FileInitializeOperation>>(
        "QVector<AbstractDownloadFileOps::FileInitializeOperation>");
    ensureRegistered<AbstractDownloadPriority>("AbstractDownloadPriority");
    ensureRegistered<AbstractDownloadMergeOptions>("AbstractDownloadMergeOptions");
    ensureRegistered<AbstractDownloadMergeTaskOptions>("AbstractDownloadMergeTaskOptions");
    ensureRegistered<CompareDownloadsResult>("CompareDownloadsResult");
    ensureRegistered<AbstractDownloadAbortReason>("AbstractDownloadAbortReason");
    ensureRegistered<AbstractDownloadType>("AbstractDownloadType");
    ensureRegistered<QVector<AbstractDownloadType>>("QVector<AbstractDownloadType>");
    ensureRegistered<AbstractDownloadFileExistsAction>("AbstractDownloadFileExistsAction");
    ensureRegistered<WwwDownloadSourceInfo>("WwwDownloadSourceInfo");
}

}

WwwDownloadsModule::WwwDownloadsModule(const QByteArray &instanceData, QObject *parent)
    : AbstractDownloadModule(instanceData, parent)
{
    registerRecords();
}

WwwDownloadsModule::~WwwDownloadsModule() = default;

QString WwwDownloadsModule::uniqueId() const
{
    return QLatin1String(kUniqueId);
}

bool WwwDownloadsModule::supportedSource(const QUrl &url) const
{
    return WebSchemes::isOneOf(url);
}

AbstractDownload *WwwDownloadsModule::createDownload(qint64 id, QObject *parent) const
{
    return new WwwDownload(id, networkAccessChief(), userAgentManager(), parent);
}
