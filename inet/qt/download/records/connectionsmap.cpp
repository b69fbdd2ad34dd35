// SPDX-License-Identifier: MIT
#include <inet/qt/download/records/connectionsmap.h>

#include <inet/qt/download/records/webschemes.h>

#include <QUrl>

size_t qHash(const QtHostAndPort &key, size_t seed) noexcept
{
    return qHashMulti(seed, key.host, key.port);
}

QtHostAndPort hostAndPortFromUrl(const QUrl &url)
{
    const WebSchemes::Scheme *const scheme = WebSchemes::find(url.scheme());
    return {url.host(QUrl::FullyDecoded), url.port(scheme ? scheme->defaultPort : -1)};
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
