// SPDX-License-Identifier: MIT
#include <inet/qt/download/framework/abstractdownloadmodule.h>

#include <inet/qt/download/framework/abstractdownload.h>

AbstractDownloadModule::AbstractDownloadModule(const QByteArray &instanceData, QObject *parent)
    : QtAbstractComplexModule(parent)
    , m_instanceData(instanceData)
{
}

AbstractDownloadModule::AbstractDownloadModule(QObject *parent)
    : AbstractDownloadModule(QByteArray(), parent)
{
}

AbstractDownloadModule::~AbstractDownloadModule() = default;

bool AbstractDownloadModule::supportedSource(const AbstractDownload *download) const
{
    return download && supportedSource(download->info().downloadUrl());
}

int AbstractDownloadModule::supportedSourceCheckPriority()
{
    return 0;
}

QString AbstractDownloadModule::sourceDescription(const QUrl &)
{
    return {};
}

AbstractDownloadType AbstractDownloadModule::sourceType(const QUrl &url)
{
    return supportedSource(url) ? AbstractDownloadType::File : AbstractDownloadType::Unknown;
}

int AbstractDownloadModule::state() const
{
    return 0;
}

void AbstractDownloadModule::setDownloadsFactory(QWeakPointer<AbstractDownloadsSimpleFactory>) {}

void AbstractDownloadModule::setFfmpegManager(QWeakPointer<QtFfmpegManager>) {}

void AbstractDownloadModule::setAvMerger(const QWeakPointer<QtFfmpegAvMerger> &) {}

void AbstractDownloadModule::setShortBlobUrlsManager(const QSharedPointer<ShortBlobUrlsManager> &) {}

QStringList AbstractDownloadModule::thirdPartyLibsInfos() const
{
    return {};
}

QStringList AbstractDownloadModule::dependsByModules() const
{
    return {};
}

void AbstractDownloadModule::setPythonManager(QWeakPointer<QtPythonManager>) {}

bool AbstractDownloadModule::isPossiblySupportedSource(const AbstractDownload *download)
{
    return supportedSource(download);
}

QVariantMap AbstractDownloadModule::usageSettings() const
{
    return {};
}

int AbstractDownloadModule::overrideUrlPolicy(const QUrl &)
{
    return 0;
}

QVariant AbstractDownloadModule::getCustomInfo(const QString &) const
{
    return {};
}

void AbstractDownloadModule::setCustomOption(const QString &, const QVariant &) {}

void AbstractDownloadModule::reload() {}
