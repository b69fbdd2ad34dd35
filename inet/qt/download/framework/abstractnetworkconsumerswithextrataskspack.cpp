// SPDX-License-Identifier: MIT
#include <inet/qt/download/framework/abstractnetworkconsumerswithextrataskspack.h>

#include <inet/qt/download/framework/assertion.h>
#include <inet/qt/download/framework/runguard.h>
#include <inet/qt/download/framework/threadaffinity.h>

#include <algorithm>
#include <utility>

AbstractNetworkConsumersWithExtraTasksPack::AbstractNetworkConsumersWithExtraTasksPack(QObject *parent)
    : QObject(parent)
{
}

AbstractNetworkConsumersWithExtraTasksPack::~AbstractNetworkConsumersWithExtraTasksPack() = default;

AbstractNetworkConsumersWithExtraTasksPack::ItemPointer AbstractNetworkConsumersWithExtraTasksPack::item(
    qint64 id) const
{
    return m_items.value(id);
}

QList<AbstractNetworkConsumersWithExtraTasksPack::ItemPointer> AbstractNetworkConsumersWithExtraTasksPack::items() const
{
    QList<ItemPointer> list;
    list.reserve(m_order.size());
    for (const qint64 id : m_order)
        list.append(m_items.value(id));
    return list;
}

QList<qint64> AbstractNetworkConsumersWithExtraTasksPack::itemsIds() const
{
    return m_order;
}

QList<qint64> AbstractNetworkConsumersWithExtraTasksPack::runningItemsIds() const
{
    QList<qint64> ids;
    for (const qint64 id : m_order) {
        if (m_items.value(id)->isRunning())
            ids.append(id);
    }
    return ids;
}

int AbstractNetworkConsumersWithExtraTasksPack::size() const
{
    return int(m_order.size());
}

bool AbstractNetworkConsumersWithExtraTasksPack::empty() const
{
    return m_order.isEmpty();
}

bool AbstractNetworkConsumersWithExtraTasksPack::isRunning() const
{
    return std::any_of(m_items.cbegin(), m_items.cend(), [](const ItemPointer &item) { return item->isRunning(); });
}

AbstractError AbstractNetworkConsumersWithExtraTasksPack::lastError() const
{
    const ItemPointer failed = newestFailed();
    return failed ? failed->lastError() : AbstractError();
}

QDateTime AbstractNetworkConsumersWithExtraTasksPack::lastErrorTime() const
{
    const ItemPointer failed = newestFailed();
    return failed ? failed->lastErrorTime() : QDateTime();
}

QList<QSslError> AbstractNetworkConsumersWithExtraTasksPack::lastSslErrors() const
{
    const ItemPointer failed = newestFailed();
    return failed ? failed->lastSslErrors() : QList<QSslError>();
}

QtConnectionsMap AbstractNetworkConsumersWithExtraTasksPack::connectionsMap() const
{
    QtConnectionsMap sum;
    for (const ItemPointer &item : m_items)
        uniteConnectionsMaps(sum, item->connectionsMap());
    return sum;
}

qint64 AbstractNetworkConsumersWithExtraTasksPack::speed(NetworkTrafficDirection direction, bool payloadOnly) const
{
    qint64 sum = 0;
    for (const ItemPointer &item : m_items)
        sum += item->speed(direction, payloadOnly);
    return sum;
}

NetworkUsageSettings AbstractNetworkConsumersWithExtraTasksPack::networkUsageSettings() const
{
    return m_usageSettings;
}

void AbstractNetworkConsumersWithExtraTasksPack::addItem(const ItemPointer &item)
{
    DOWNLOAD_ASSERT(isCalledAtHome(this));
    const qint64 id = item ? item->id() : 0;
    if (!item || m_items.value(id) == item)
        return;
    removeItem(id);
    m_items.insert(id, item);
    m_order.append(id);
    if (m_hasNetworkSettings)
        item->setNetworkSettings(m_networkSettings);
    if (m_hasUsageSettings)
        item->setNetworkUsageSettings(m_usageSettings);
    connectItem(id, item);
    const QtConnectionsMap held = item->connectionsMap();
    const RunGuard guard(this);
    if (!held.isEmpty())
        Q_EMIT connectionsMapChangedDelta(held);
    if (guard)
        updateRunning();
}

void AbstractNetworkConsumersWithExtraTasksPack::removeItem(qint64 id)
{
    const ItemPointer item = m_items.take(id);
    if (!item)
        return;
    m_order.removeOne(id);
    item->disconnect(this);
    QtConnectionsMap held = item->connectionsMap();
    invert(held);
    const RunGuard guard(this);
    if (!held.isEmpty())
        Q_EMIT connectionsMapChangedDelta(held);
    if (guard)
        updateRunning();
}

void AbstractNetworkConsumersWithExtraTasksPack::removeItems(const QList<qint64> &ids)
{
    const RunGuard guard(this);
    QList<qint64> rest = ids;
    while (guard && !rest.isEmpty())
        removeItem(rest.takeFirst());
}

void AbstractNetworkConsumersWithExtraTasksPack::clearLastError()
{
    const QList<ItemPointer> all = items();
    for (const ItemPointer &item : all)
        item->clearLastError();
}

void AbstractNetworkConsumersWithExtraTasksPack::setNetworkSettings(const AbstractNetworkConsumerSettings &settings)
{
    m_hasNetworkSettings = true;
    m_networkSettings = settings;
    const QList<ItemPointer> all = items();
    for (const ItemPointer &item : all)
        item->setNetworkSettings(settings);
}

void AbstractNetworkConsumersWithExtraTasksPack::setNetworkUsageSettings(const NetworkUsageSettings &settings)
{
    m_hasUsageSettings = true;
    m_usageSettings = settings;
    const QList<ItemPointer> all = items();
    for (const ItemPointer &item : all)
        item->setNetworkUsageSettings(settings);
}

void AbstractNetworkConsumersWithExtraTasksPack::connectItem(qint64 id, const ItemPointer &item)
{
    connect(item.data(), &AbstractNetworkConsumerWithExtraTasks::running, this,
            [this, id](bool itemIsRunning) { onItemRunning(id, itemIsRunning); });
    connect(item.data(), &AbstractNetworkConsumer::connectionsMapChangedDelta, this,
            &AbstractNetworkConsumersWithExtraTasksPack::connectionsMapChangedDelta);
}

void AbstractNetworkConsumersWithExtraTasksPack::onItemRunning(qint64 id, bool isRunning)
{
    // A receiver may remove the item, and with it perhaps the last reference to it, while it is still in its signal.
    const ItemPointer keep = item(id);
    DOWNLOAD_ASSERT(isCalledAtHome(this));
    const RunGuard guard(this);
    m_someItemRan |= isRunning;
    ++m_reactingToItems;
    Q_EMIT itemRunning(id, isRunning);
    if (!guard)
        return;
    DOWNLOAD_ASSERT(m_reactingToItems > 0);
    --m_reactingToItems;
    updateRunning();
}

/// While an item's signal is being delivered nothing is decided: a receiver may start another item in place of the one
/// that stopped. A run that began and ended meanwhile is announced all the same, because someone may wait for its end.
void AbstractNetworkConsumersWithExtraTasksPack::updateRunning()
{
    if (m_reactingToItems > 0)
        return;
    const bool someItemRan = std::exchange(m_someItemRan, false);
    const bool runs = isRunning();
    const RunGuard guard(this);
    if (!m_running && (runs || someItemRan))
        announce(true);
    if (guard && m_running && !isRunning())
        announce(false);
}

/// Every receiver gets the transitions in the order in which they happened, also when one receiver causes the next.
void AbstractNetworkConsumersWithExtraTasksPack::announce(bool isRunning)
{
    DOWNLOAD_ASSERT(m_running != isRunning);
    m_running = isRunning;
    m_announcements.append(isRunning);
    if (m_announcing)
        return;
    m_announcing = true;
    const RunGuard guard(this);
    while (guard && !m_announcements.isEmpty())
        Q_EMIT running(m_announcements.takeFirst());
    if (guard)
        m_announcing = false;
}

AbstractNetworkConsumersWithExtraTasksPack::ItemPointer AbstractNetworkConsumersWithExtraTasksPack::newestFailed() const
{
    ItemPointer newest;
    for (const qint64 id : m_order) {
        const ItemPointer candidate = m_items.value(id);
        if (!candidate->lastError())
            continue;
        if (!newest || !newest->lastErrorTime().isValid() || candidate->lastErrorTime() > newest->lastErrorTime())
            newest = candidate;
    }
    return newest;
}
