// SPDX-License-Identifier: MIT
#include <host/network/downloadaccesschief.h>

#include <host/network/resourceguard.h>
#include <host/network/transfermanager.h>
#include <host/policy/connectionshares.h>
#include <inet/qt/download/framework/abstractdownload.h>
#include <inet/qt/download/framework/abstractnetworkconsumersstats.h>

#include <algorithm>
#include <limits>
#include <utility>

namespace
{

bool isMore(qint64 limit, qint64 before)
{
    return before != 0 && (limit == 0 || limit > before);
}

}

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

void DownloadAccessChief::serve(AbstractDownload &download, const QList<QtHostAndPort> &servers)
{
    m_servers = servers;
    connect(&download, &AbstractDownload::connectionsMapChangedDelta, this,
            [this](const QtConnectionsMap &delta) { uniteConnectionsMaps(m_own, delta); });
}

void DownloadAccessChief::setMostConnections(qint64 count, qint64 perServer)
{
    const qint64 before = std::exchange(m_mostConnections, count);
    const qint64 perServerBefore = std::exchange(m_mostConnectionsPerServer, perServer);
    if (isMore(count, before) || isMore(perServer, perServerBefore))
        m_shared->announceLimits();
}

QList<TransferStatus> DownloadAccessChief::transfers() const
{
    return m_manager->transfers();
}

NetworkUsageSettings DownloadAccessChief::usageSettings() const
{
    NetworkUsageSettings settings = m_shared->usageSettings();
    settings.maximumConnections =
        ConnectionShares::toldLimit(m_mostConnections, othersConnections(), settings.maximumConnections);
    // It is asked for at every read.
    if (m_mostConnectionsPerServer > 0)
        settings.maximumConnectionsPerServer = ConnectionShares::toldLimit(
            m_mostConnectionsPerServer, othersConnectionsPerServer(), settings.maximumConnectionsPerServer);
    return settings;
}

qint64 DownloadAccessChief::othersConnections() const
{
    return unitedEntry(consumersStats()->connectionsMap()).count - unitedEntry(m_own).count;
}

/// It is not told which server is meant: the fewest. The module looks for connections at the server that it asks first;
/// of one that was redirected it knows the number by itself, and is told the plain limit.
qint64 DownloadAccessChief::othersConnectionsPerServer() const
{
    const bool isRedirected = std::any_of(m_own.keyBegin(), m_own.keyEnd(),
                                          [this](const QtHostAndPort &server) { return !m_servers.contains(server); });
    if (m_servers.isEmpty() || isRedirected)
        return 0;
    const QtConnectionsMap all = consumersStats()->connectionsMap();
    qint64 fewest = std::numeric_limits<qint64>::max();
    for (const QtHostAndPort &server : m_servers)
        fewest = std::min<qint64>(fewest, all.value(server).count - m_own.value(server).count);
    return fewest;
}

QSharedPointer<QNetworkAccessManager> DownloadAccessChief::takeManager(const QUrl &url)
{
    m_guard->expect(url);
    return m_manager;
}

void DownloadAccessChief::returnManager(const QSharedPointer<QNetworkAccessManager> &, const QUrl &) {}
