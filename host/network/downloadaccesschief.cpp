// SPDX-License-Identifier: MIT
#include <host/network/downloadaccesschief.h>

#include <host/network/resourceguard.h>
#include <host/network/transfermanager.h>

DownloadAccessChief::DownloadAccessChief(const QSharedPointer<NetworkAccessChief> &shared,
                                         const std::shared_ptr<ResourceGuard> &guard, QObject *parent)
    : AbstractNetworkAccessChief(parent)
    , m_shared(shared)
    , m_guard(guard)
    , m_manager(shared->makeManager(guard))
{
    setProperty(kEarlyHandOutSize, shared->property(kEarlyHandOutSize));
}

DownloadAccessChief::~DownloadAccessChief() = default;

QSharedPointer<QNetworkAccessManager> DownloadAccessChief::takeManager(const QUrl &url)
{
    m_guard->expect(url);
    return m_manager;
}

void DownloadAccessChief::returnManager(const QSharedPointer<QNetworkAccessManager> &, const QUrl &) {}
