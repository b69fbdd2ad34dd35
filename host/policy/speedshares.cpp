// SPDX-License-Identifier: MIT
#include <host/policy/speedshares.h>

#include <algorithm>

namespace
{

/// Room to grow for a download that is slower than its share: a fifth, and what lets a stalled one begin again.
constexpr qint64 kRoomToBegin = 16 * 1024;

/// What the download could make use of; -1 = anything.
qint64 demandOf(const SpeedShares::Item &item)
{
    const bool isIdle = item.share > 0 && item.speed < item.share / 10 * 8;
    const qint64 used = isIdle ? item.speed + item.speed / 5 + kRoomToBegin : -1;
    if (item.limit <= 0)
        return used;
    return used < 0 ? item.limit : std::min(used, item.limit);
}

}

QHash<qint64, qint64> SpeedShares::distribute(qint64 limit, const QList<Item> &items)
{
    QHash<qint64, qint64> shares;
    if (limit <= 0) {
        for (const Item &item : items)
            shares.insert(item.id, item.limit);
        return shares;
    }
    QList<Item> open = items;
    // The smallest demands first: what they leave is divided among the others.
    std::sort(open.begin(), open.end(), [](const Item &a, const Item &b) {
        return quint64(demandOf(a)) < quint64(demandOf(b)); // "anything" is the greatest
    });
    qint64 left = limit;
    for (qsizetype i = 0; i < open.size(); ++i) {
        const qint64 equal = std::max<qint64>(1, left / (open.size() - i));
        const qint64 demand = demandOf(open.at(i));
        const qint64 share = demand < 0 ? equal : std::min(demand, equal);
        shares.insert(open.at(i).id, std::max<qint64>(1, share));
        left = std::max<qint64>(0, left - share);
    }
    return shares;
}

qint64 SpeedShares::perTransfer(qint64 share, int transfers)
{
    return share <= 0 ? 0 : std::max<qint64>(1, share / std::max(1, transfers));
}
