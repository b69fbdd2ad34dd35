// SPDX-License-Identifier: MIT
#include <inet/qt/download/records/connectionsmap.h>

#include <QUrl>

namespace {

qint32 defaultPort(const QString &scheme)
{
    using namespace Qt::StringLiterals;
    if (scheme.compare("https"_L1, Qt::CaseInsensitive) == 0)
        return 443;
    if (scheme.compare("http"_L1, Qt::CaseInsensitive) == 0)
        return 80;
    if (scheme.compare("ftp"_L1, Qt::CaseInsensitive) == 0)
        return 21;
    return -1;
}

}

size_t qHash(const QtHostAndPort &key, size_t seed) noexcept
{
    return qHashMulti(seed, key.host, key.port);
}

QtHostAndPort hostAndPortFromUrl(const QUrl &url)
{
    const qint32 port = url.port(-1);
    return {url.host(QUrl::FullyDecoded), port == -1 ? defaultPort(url.scheme()) : port};
}

void changeConnectionsMap(QtConnectionsMap &map, const QtConnectionsMap &delta, bool add)
{
    // A map may be taken off itself: entries must not vanish under the iterator.
    const QtConnectionsMap changes = delta;
    for (auto it = changes.cbegin(); it != changes.cend(); ++it) {
        QtConnectionsMapEntry &entry = map[it.key()];
        entry.count += add ? it->count : -it->count;
        if (entry.count == 0)
            map.remove(it.key());
    }
}

void uniteConnectionsMaps(QtConnectionsMap &map, const QtConnectionsMap &delta)
{
    changeConnectionsMap(map, delta, true);
}

void substractConnectionsMap(QtConnectionsMap &map, const QtConnectionsMap &delta)
{
    changeConnectionsMap(map, delta, false);
}

void invert(QtConnectionsMap &map)
{
    for (QtConnectionsMapEntry &entry : map)
        entry.count = -entry.count;
}

QtConnectionsMapEntry unitedEntry(const QtConnectionsMap &map)
{
    QtConnectionsMapEntry sum;
    for (const QtConnectionsMapEntry &entry : map)
        sum.count += entry.count;
    return sum;
}

QtConnectionsMap connectionsMapDelta(const QtConnectionsMap &from, const QtConnectionsMap &to)
{
    if (from == to)
        return {};
    QtConnectionsMap delta;
    for (auto it = to.cbegin(); it != to.cend(); ++it) {
        const qint32 difference = it->count - from.value(it.key()).count;
        if (difference != 0)
            delta.insert(it.key(), {difference});
    }
    for (auto it = from.cbegin(); it != from.cend(); ++it) {
        if (!to.contains(it.key()) && it->count != 0)
            delta.insert(it.key(), {-it->count});
    }
    return delta;
}
