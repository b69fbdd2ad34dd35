// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/records/exportmacro.h>

#include <QHash>
#include <QMetaType>
#include <QString>

class QUrl;

/// A server: the key under which connections are counted. Hosts are compared as they are, case included.
struct QtHostAndPort {
    QString host;
    qint32 port = -1; ///< -1 = unknown

    friend bool operator==(const QtHostAndPort &, const QtHostAndPort &) = default;
};
Q_DECLARE_METATYPE(QtHostAndPort)

DOWNLOADFRAMEWORK_EXPORT size_t qHash(const QtHostAndPort &key, size_t seed = 0) noexcept;

/// How many connections; negative in a delta.
struct QtConnectionsMapEntry {
    qint32 count = 0;

    friend bool operator==(const QtConnectionsMapEntry &, const QtConnectionsMapEntry &) = default;
};
Q_DECLARE_METATYPE(QtConnectionsMapEntry)

/// Connections by server. Consumers send deltas of it, which their receivers add up.
using QtConnectionsMap = QHash<QtHostAndPort, QtConnectionsMapEntry>;

/// The server of a URL; the port is the scheme's own where the URL has none.
DOWNLOADFRAMEWORK_EXPORT QtHostAndPort hostAndPortFromUrl(const QUrl &url);

/// Adds or subtracts a delta; entries that become 0 are removed.
DOWNLOADFRAMEWORK_EXPORT void changeConnectionsMap(QtConnectionsMap &map, const QtConnectionsMap &delta, bool add);
DOWNLOADFRAMEWORK_EXPORT void uniteConnectionsMaps(QtConnectionsMap &map, const QtConnectionsMap &delta);
DOWNLOADFRAMEWORK_EXPORT void substractConnectionsMap(QtConnectionsMap &map, const QtConnectionsMap &delta);

/// Negates every count.
DOWNLOADFRAMEWORK_EXPORT void invert(QtConnectionsMap &map);

/// All connections of a map.
DOWNLOADFRAMEWORK_EXPORT QtConnectionsMapEntry unitedEntry(const QtConnectionsMap &map);

/// What has to be added to @p from to get @p to.
DOWNLOADFRAMEWORK_EXPORT QtConnectionsMap connectionsMapDelta(const QtConnectionsMap &from, const QtConnectionsMap &to);
