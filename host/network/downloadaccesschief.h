// SPDX-License-Identifier: MIT
#pragma once

#include <host/network/networkaccesschief.h>
#include <host/network/transferstatus.h>
#include <inet/qt/download/framework/abstractnetworkaccesschief.h>
#include <inet/qt/download/records/connectionsmap.h>

#include <QList>
#include <QSharedPointer>

#include <memory>

class AbstractDownload;
class ResourceGuard;
class TransferManager;

/// The access chief of one download, over the one that all share: by it is known whose requests these are, and whose
/// connections.
///
/// A module holds its limit of connections against those of all downloads. So that a limit of one download bounds that
/// one, the download's own limit stays 0, and usageSettings() answers what the limit comes to together with what the
/// others have at that moment.
///
/// A download of the module keeps the chief that it was made with. Lives in the downloads' thread.
class DownloadAccessChief : public AbstractNetworkAccessChief
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(DownloadAccessChief)

public:
    DownloadAccessChief(const QSharedPointer<NetworkAccessChief> &shared, const std::shared_ptr<ResourceGuard> &guard,
                        QObject *parent = nullptr);
    ~DownloadAccessChief() override;

    QSharedPointer<QNetworkAccessManager> takeManager(const QUrl &url) override;
    void returnManager(const QSharedPointer<QNetworkAccessManager> &manager, const QUrl &url) override;

    /// The download that was made with this chief, before it runs. @param servers that it may ask
    void serve(AbstractDownload &download, const QList<QtHostAndPort> &servers);
    /// Connections that the download may have, in all and to one server, from now on; 0 = no limit. Where that is more
    /// than before, the download hears of it.
    void setMostConnections(qint64 count, qint64 perServer);

    /// Of the download's requests, those that go on.
    QList<TransferStatus> transfers() const;

    AbstractNetworkConsumersStats *consumersStats() const override { return m_shared->consumersStats(); }
    NetworkUsageSettings usageSettings() const override;
    AbstractNetworkConsumerSettings defaultConsumerSettings() const override
    {
        return m_shared->defaultConsumerSettings();
    }

private:
    qint64 othersConnections() const;
    qint64 othersConnectionsPerServer() const;

    const QSharedPointer<NetworkAccessChief> m_shared;
    const std::shared_ptr<ResourceGuard> m_guard;
    const QSharedPointer<TransferManager> m_manager;
    qint64 m_mostConnections = 0;
    qint64 m_mostConnectionsPerServer = 0;
    QtConnectionsMap m_own; ///< of the download
    QList<QtHostAndPort> m_servers;
};
