// SPDX-License-Identifier: MIT
#include <host/engine/downloadqueue.h>

#include <host/engine/downloadsession.h>
#include <host/engine/queueddownload.h>
#include <host/policy/connectionshares.h>
#include <host/policy/speedshares.h>

#include <QThread>

#include <algorithm>
#include <utility>

namespace
{

/// bytes/s of what has to wait, for its reader or its hours, and cannot be asked for again: its server sees that
/// somebody is there.
constexpr qint64 kTrickle = 1024;

void apply(const Limits &limits, DownloadOptions &options)
{
    if (limits.rate)
        options.rateTimes.clear();
    options.rateLimit = limits.rate.value_or(options.rateLimit);
    options.connections = limits.connections.value_or(options.connections);
    options.connectionsPerServer = limits.connectionsPerServer.value_or(options.connectionsPerServer);
}

}

void DownloadQueue::setSpeedLimit(qint64 limit)
{
    Q_ASSERT(QThread::currentThread() == thread());
    m_options.speedLimit = limit;
    m_options.speedTimes.clear();
    shareSpeed();
}

void DownloadQueue::setMostConnections(int count)
{
    Q_ASSERT(QThread::currentThread() == thread());
    NetworkUsageSettings limits = m_session.usageOfAll();
    limits.maximumConnections = count;
    m_session.setUsageOfAll(limits);
    share();
    fillSoon();
}

bool DownloadQueue::setLimitsOf(qint64 id, const Limits &limits, Failure *failure)
{
    Q_ASSERT(QThread::currentThread() == thread());
    if (QueuedDownload *const active = find(id)) {
        apply(limits, active->options);
        share();
    }
    return m_session.changeOptions(
        id, [&limits](DownloadOptions &options) { apply(limits, options); }, failure);
}

void DownloadQueue::renewLimitsOf(qint64 id)
{
    Q_ASSERT(QThread::currentThread() == thread());
    QueuedDownload *const active = find(id);
    const Lease *const lease = m_session.lease(id);
    if (!active || !lease)
        return;
    active->options.rateLimit = lease->options.rateLimit;
    active->options.rateTimes = lease->options.rateTimes;
    active->options.connections = lease->options.connections;
    active->options.connectionsPerServer = lease->options.connectionsPerServer;
    share();
}

void DownloadQueue::share()
{
    shareConnections();
    shareSpeed();
}

qint64 DownloadQueue::mostConnectionsOf(const QueuedDownload &active) const
{
    return active.reading.stream ? active.reading.verdict.connections
                                 : m_session.usageOf(active.options).maximumConnections;
}

/// Among those that run and those that would, were there a place for them.
void DownloadQueue::shareConnections()
{
    const qint64 limit = m_session.usageOfAll().maximumConnections;
    QList<ConnectionShares::Item> items;
    for (const qint64 id : std::as_const(m_order)) {
        const QueuedDownload &active = *m_entries.at(id).active;
        const qint64 most = mostConnectionsOf(active);
        if (isRunning(active) && limit > 0)
            items.append({id, most, m_session.connectionsOf(id), m_session.details(id).bound});
        else if (isRunning(active))
            items.append({id, most});
        else if (state(id) == DownloadState::Resting)
            items.append({0, most});
    }
    const qsizetype places = m_options.places() - m_order.size();
    const qsizetype next = limit > 0 && m_life == Life::Open ? std::min(m_waiting.size(), places) : 0;
    const qint64 usual = m_session.usageOf({}).maximumConnections;
    items.append(QList<ConnectionShares::Item>(std::max<qsizetype>(next, 0), {0, usual}));
    const QHash<qint64, qint64> shares = ConnectionShares::distribute(limit, items);
    for (auto it = shares.cbegin(); it != shares.cend(); ++it) {
        QueuedDownload &active = *m_entries.at(it.key()).active;
        if (std::exchange(active.mostConnections, it.value()) != it.value())
            m_session.setUsage(active.id, usageOf(active));
    }
}

/// Its own, at this hour.
qint64 DownloadQueue::speedLimitOf(const QueuedDownload &active) const
{
    const bool hasOwn = active.options.rateLimit > 0 || !active.options.rateTimes.isEmpty();
    const QList<RatesOfDay::Timed> &timed = hasOwn ? active.options.rateTimes : m_options.rateTimes;
    const qint64 usual = hasOwn ? active.options.rateLimit : m_session.usageOf(active.options).downloadLimit;
    return timed.isEmpty() ? usual : RatesOfDay{usual, timed}.at(wallClock());
}

void DownloadQueue::shareSpeed()
{
    QList<SpeedShares::Item> items;
    for (const qint64 id : std::as_const(m_order)) {
        const QueuedDownload &active = *m_entries.at(id).active;
        if (!isRunning(active))
            continue;
        const DownloadStatus status = m_session.status(id);
        // A run adds one connection after the other within a moment; if each took what those before it left, all of
        // them together would take a multiple of the limit in their first second.
        const int transfers = std::max(status.connections, active.run.ticks == 0 ? int(active.mostConnections) : 0);
        items.append({id, speedLimitOf(active), transfers, status.speed, active.share});
    }
    const QHash<qint64, qint64> shares = SpeedShares::distribute(m_options.speedLimitAt(wallClock()), items);
    for (const SpeedShares::Item &item : std::as_const(items)) {
        QueuedDownload &active = *m_entries.at(item.id).active;
        active.share = shares.value(item.id);
        active.sharePerTransfer = SpeedShares::perTransfer(active.share, item.transfers);
        m_session.setUsage(item.id, usageOf(active));
    }
}

/// What of its limits is in force now.
NetworkUsageSettings DownloadQueue::usageOf(const QueuedDownload &active) const
{
    NetworkUsageSettings usage = m_session.usageOf(active.options);
    usage.downloadLimit = active.sharePerTransfer;
    usage.maximumConnections = active.mostConnections;
    if (active.reading.verdict.what == StreamWindow::Verdict::What::Trickle || !isInHours())
        usage.downloadLimit = kTrickle;
    return usage;
}
