// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/framework/abstractnetworkconsumerwithextratasks.h>

#include <QHash>
#include <QSharedPointer>

/// A set of consumers seen as one: a download's sections, keyed by their ids, in the order in which they were added.
///
/// Shares the items with whoever else holds them. Lives in the items' thread.
class DOWNLOADFRAMEWORK_EXPORT AbstractNetworkConsumersWithExtraTasksPack : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(AbstractNetworkConsumersWithExtraTasksPack)

public:
    using ItemPointer = QSharedPointer<AbstractNetworkConsumerWithExtraTasks>;

    explicit AbstractNetworkConsumersWithExtraTasksPack(QObject *parent = nullptr);
    ~AbstractNetworkConsumersWithExtraTasksPack() override;

    /// Null when there is none of that id.
    ItemPointer item(qint64 id) const;
    QList<ItemPointer> items() const;
    QList<qint64> itemsIds() const;
    QList<qint64> runningItemsIds() const;
    int size() const;
    bool empty() const;

    /// Some item runs.
    bool isRunning() const;
    /// The error of the item that failed last; code 0 when none holds one.
    AbstractError lastError() const;
    QDateTime lastErrorTime() const;
    QList<QSslError> lastSslErrors() const;
    /// Sums over the items.
    QtConnectionsMap connectionsMap() const;
    qint64 speed(NetworkTrafficDirection direction, bool payloadOnly) const;
    /// As last set.
    NetworkUsageSettings networkUsageSettings() const;

    /// Gives the item the pack's settings and announces the connections that it holds already.
    void addItem(const ItemPointer &item);
    /// Forgets an item and takes its connections back. Removing the last running item ends the pack's run.
    void removeItem(qint64 id);
    void removeItems(const QList<qint64> &ids);
    void clearLastError();
    /// Both are applied to every item, present and future.
    void setNetworkSettings(const AbstractNetworkConsumerSettings &settings);
    void setNetworkUsageSettings(const NetworkUsageSettings &settings);

Q_SIGNALS:
    /// One item has started or stopped. Comes before the pack's own running().
    void itemRunning(qint64 id, bool isRunning);
    /// The first item has started, or the last one stopped; computed after all reactions to the item are done.
    void running(bool isRunning);
    void connectionsMapChangedDelta(const QtConnectionsMap &delta);

private:
    void connectItem(qint64 id, const ItemPointer &item);
    void onItemRunning(qint64 id, bool isRunning);
    void updateRunning();
    void announce(bool isRunning);
    ItemPointer newestFailed() const;

    QHash<qint64, ItemPointer> m_items;
    QList<qint64> m_order;
    bool m_running = false; ///< as last announced, or about to be
    int m_reactingToItems = 0; ///< depth of itemRunning() signals that are being delivered
    bool m_someItemRan = false; ///< an item started while the transition was held back
    QList<bool> m_announcements; ///< transitions not yet delivered to every receiver
    bool m_announcing = false;
    bool m_hasNetworkSettings = false;
    AbstractNetworkConsumerSettings m_networkSettings;
    bool m_hasUsageSettings = false;
    NetworkUsageSettings m_usageSettings;
};
