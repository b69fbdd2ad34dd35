// SPDX-License-Identifier: MIT
#pragma once

#include <host/network/networkaccesschief.h>
#include <inet/qt/download/framework/abstractnetworkaccesschief.h>

#include <QSharedPointer>

#include <memory>

class ResourceGuard;
class TransferManager;

/// The access chief of one download, over the one that all share: by it is known whose requests these are.
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

    AbstractNetworkConsumersStats *consumersStats() const override { return m_shared->consumersStats(); }
    NetworkUsageSettings usageSettings() const override { return m_shared->usageSettings(); }
    AbstractNetworkConsumerSettings defaultConsumerSettings() const override
    {
        return m_shared->defaultConsumerSettings();
    }

private:
    const QSharedPointer<NetworkAccessChief> m_shared;
    const std::shared_ptr<ResourceGuard> m_guard;
    const QSharedPointer<TransferManager> m_manager;
};
