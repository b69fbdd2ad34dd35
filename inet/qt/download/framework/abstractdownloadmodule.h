// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/framework/abstractnetworkaccesschief.h>
#include <inet/qt/download/framework/qtabstractcomplexmodule.h>
#include <inet/qt/download/framework/qtappsystemdefaultuseragentmanager.h>
#include <inet/qt/download/records/downloadenums.h>

#include <QByteArray>
#include <QSharedPointer>
#include <QStringList>
#include <QUrl>
#include <QVariant>
#include <QWeakPointer>

class AbstractDownload;
class AbstractDownloadsSimpleFactory;
class QtFfmpegAvMerger;
class QtFfmpegManager;
class QtPythonManager;
class ShortBlobUrlsManager;

/// A plug-in of downloads: says which sources it serves and makes the downloads.
///
/// The host owns it and, before the first download, gives it the access chief and the user-agent manager.
class DOWNLOADFRAMEWORK_EXPORT AbstractDownloadModule : public QtAbstractComplexModule
{
    Q_OBJECT

public:
    /// @param instanceData what the host stored for this module; opaque to it
    AbstractDownloadModule(const QByteArray &instanceData, QObject *parent);
    explicit AbstractDownloadModule(QObject *parent = nullptr);
    ~AbstractDownloadModule() override;

    virtual QString uniqueId() const = 0;
    virtual bool supportedSource(const QUrl &url) const = 0;
    /// By the download's URL.
    virtual bool supportedSource(const AbstractDownload *download) const;
    /// Modules of greater numbers are asked first.
    virtual int supportedSourceCheckPriority();
    /// For people; empty = none.
    virtual QString sourceDescription(const QUrl &url);
    virtual AbstractDownloadType sourceType(const QUrl &url);
    /// A new download, owned by the caller and a child of @p parent.
    virtual AbstractDownload *createDownload(qint64 id, QObject *parent) const = 0;
    /// 0 = ready.
    virtual int state() const;
    virtual void setDownloadsFactory(QWeakPointer<AbstractDownloadsSimpleFactory> factory);
    virtual void setFfmpegManager(QWeakPointer<QtFfmpegManager> manager);
    virtual void setAvMerger(const QWeakPointer<QtFfmpegAvMerger> &merger);
    virtual void setShortBlobUrlsManager(const QSharedPointer<ShortBlobUrlsManager> &manager);
    /// Name and version of each library of others that the module brings along.
    virtual QStringList thirdPartyLibsInfos() const;
    /// Identifiers of modules that must be there before this one.
    virtual QStringList dependsByModules() const;
    virtual void setPythonManager(QWeakPointer<QtPythonManager> manager);
    virtual bool isPossiblySupportedSource(const AbstractDownload *download);
    virtual QVariantMap usageSettings() const;
    /// 0 = the module has no say in it.
    virtual int overrideUrlPolicy(const QUrl &url);
    virtual QVariant getCustomInfo(const QString &name) const;
    virtual void setCustomOption(const QString &name, const QVariant &value);
    virtual void reload();

    QByteArray instanceData() const { return m_instanceData; }
    void setNetworkAccessChief(const QSharedPointer<AbstractNetworkAccessChief> &chief)
    {
        m_networkAccessChief = chief;
    }
    void setUserAgentManager(const QWeakPointer<QtAppSystemDefaultUserAgentManager> &manager)
    {
        m_userAgentManager = manager;
    }

protected:
    QSharedPointer<AbstractNetworkAccessChief> networkAccessChief() const { return m_networkAccessChief; }
    QWeakPointer<QtAppSystemDefaultUserAgentManager> userAgentManager() const { return m_userAgentManager; }

private:
    QByteArray m_instanceData;
    QSharedPointer<AbstractNetworkAccessChief> m_networkAccessChief;
    QWeakPointer<QtAppSystemDefaultUserAgentManager> m_userAgentManager;
};
