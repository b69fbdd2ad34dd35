// SPDX-License-Identifier: MIT
#include <inet/qt/download/framework/abstractnetworkconsumersstats.h>

#include <inet/qt/download/framework/assertion.h>
#include <inet/qt/download/framework/threadaffinity.h>

#include <utility>

AbstractNetworkConsumersStats::AbstractNetworkConsumersStats(QObject *parent)
    : QObject(parent)
{
}

AbstractNetworkConsumersStats::~AbstractNetworkConsumersStats() = default;

void AbstractNetworkConsumersStats::registerConsumer(AbstractNetworkConsumer *consumer, bool add)
{
    DOWNLOAD_ASSERT(isCalledAtHome(this));
    if (!consumer || add == m_consumers.contains(consumer))
        return;
    if (add) {
        m_consumers.insert(consumer, {});
        connect(consumer, &AbstractNetworkConsumer::connectionsMapChangedDelta, this,
                [this, consumer](const QtConnectionsMap &delta) { apply(consumer, delta); });
        connect(consumer, &QObject::destroyed, this, [this, consumer] { registerConsumer(consumer, false); });
        apply(consumer, consumer->connectionsMap());
        return;
    }
    consumer->disconnect(this);
    // The consumer may be half destroyed already: what it holds is known here.
    QtConnectionsMap back = m_consumers.value(consumer);
    invert(back);
    apply(consumer, back);
    m_consumers.remove(consumer);
}

int AbstractNetworkConsumersStats::consumersCount() const
{
    return int(m_consumers.size());
}

QtConnectionsMap AbstractNetworkConsumersStats::connectionsMap() const
{
    return m_total;
}

qint64 AbstractNetworkConsumersStats::speed(NetworkTrafficDirection direction, bool payloadOnly) const
{
    qint64 sum = 0;
    for (auto it = m_consumers.cbegin(); it != m_consumers.cend(); ++it)
        sum += it.key()->speed(direction, payloadOnly);
    return sum;
}

void AbstractNetworkConsumersStats::apply(AbstractNetworkConsumer *consumer, const QtConnectionsMap &delta)
{
    uniteConnectionsMaps(m_consumers[consumer], delta);
    uniteConnectionsMaps(m_total, delta);
    uniteConnectionsMaps(m_pending, delta);
    if (!m_pending.isEmpty())
        scheduleSignal();
}

void AbstractNetworkConsumersStats::scheduleSignal()
{
    if (std::exchange(m_signalScheduled, true))
        return;
    QMetaObject::invokeMethod(
        this, [this] { emitPending(); }, Qt::QueuedConnection);
}

void AbstractNetworkConsumersStats::emitPending()
{
    m_signalScheduled = false;
    const QtConnectionsMap delta = std::exchange(m_pending, {});
    if (!delta.isEmpty())
        Q_EMIT connectionsMapChangedDelta(delta);
}
