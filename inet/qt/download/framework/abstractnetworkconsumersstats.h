// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/framework/abstractnetworkconsumer.h>

#include <QHash>
#include <QObject>

/// Live sums over all transfers of the application that have registered themselves. Lives in the transfers' thread.
class DOWNLOADFRAMEWORK_EXPORT AbstractNetworkConsumersStats : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(AbstractNetworkConsumersStats)

public:
    explicit AbstractNetworkConsumersStats(QObject *parent = nullptr);
    ~AbstractNetworkConsumersStats() override;

    /// Registers or unregisters a consumer, which stays the caller's. Its connections come and go with it.
    void registerConsumer(AbstractNetworkConsumer *consumer, bool add);

    int consumersCount() const;
    /// All connections of the application.
    QtConnectionsMap connectionsMap() const;
    /// Bytes/s over all consumers.
    qint64 speed(NetworkTrafficDirection direction, bool payloadOnly) const;

Q_SIGNALS:
    /// Queued, and coalesced over what happened since the last one; never an empty delta.
    void connectionsMapChangedDelta(const QtConnectionsMap &delta);

private:
    void apply(AbstractNetworkConsumer *consumer, const QtConnectionsMap &delta);
    void scheduleSignal();
    void emitPending();

    QHash<AbstractNetworkConsumer *, QtConnectionsMap> m_consumers;
    QtConnectionsMap m_total;
    QtConnectionsMap m_pending;
    bool m_signalScheduled = false;
};
