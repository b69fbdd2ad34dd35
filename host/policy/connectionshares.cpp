// SPDX-License-Identifier: MIT
#include <host/policy/connectionshares.h>

#include <algorithm>
#include <utility>

namespace
{

/// What the download could make use of.
qint64 demandOf(const ConnectionShares::Item &item, qint64 limit)
{
    const qint64 wish = item.most > 0 ? std::min(item.most, limit) : limit;
    switch (item.bound) {
    case ConnectionsBound::RangesNotHonoured:
    case ConnectionsBound::SizeUnknown:
        return std::clamp<qint64>(item.used, 1, wish);
    case ConnectionsBound::TooSmallToSplit:
    case ConnectionsBound::SectionsCap:
    case ConnectionsBound::ConnectionsPerServer:
    case ConnectionsBound::AnotherFailed:
        // With room for one more, the download goes on to name its own reason for not having it.
        return std::clamp<qint64>(item.used + 1, 1, wish);
    case ConnectionsBound::None:
    case ConnectionsBound::SpaceNotTaken:
    case ConnectionsBound::Connections:
        break;
    }
    return wish;
}

}

QHash<qint64, qint64> ConnectionShares::distribute(qint64 limit, const QList<Item> &items)
{
    QHash<qint64, qint64> shares;
    if (limit <= 0) {
        for (const Item &item : items)
            shares.insert(item.id, item.most);
        shares.remove(0);
        return shares;
    }
    QList<Item> open = items;
    // The smallest demands first: what they leave is divided among the others. Of these, what cannot be divided goes to
    // those that run.
    std::stable_sort(open.begin(), open.end(), [limit](const Item &a, const Item &b) {
        return std::pair(demandOf(a, limit), a.id != 0) < std::pair(demandOf(b, limit), b.id != 0);
    });
    qint64 left = limit;
    for (qsizetype i = 0; i < open.size(); ++i) {
        const qint64 equal = std::max<qint64>(1, left / (open.size() - i));
        const qint64 share = std::min(demandOf(open.at(i), limit), equal);
        shares.insert(open.at(i).id, share);
        left = std::max<qint64>(0, left - share);
    }
    shares.remove(0);
    return shares;
}

qint64 ConnectionShares::toldLimit(qint64 most, qint64 others, qint64 overall)
{
    const qint64 own = most > 0 ? most + others : 0;
    return own > 0 && overall > 0 ? std::min(own, overall) : std::max(own, overall);
}
