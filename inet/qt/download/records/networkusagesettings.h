// SPDX-License-Identifier: MIT
#pragma once

#include <QMetaType>
#include <QtGlobal>

/// How much of the network a consumer may use. 0 means no limit.
struct NetworkUsageSettings {
    qint64 downloadLimit = 0; ///< bytes/s
    qint64 maximumConnections = 0; ///< at once
    qint64 maximumConnectionsPerServer = 0; ///< at once, to one host and port
    bool lowPriority = false; ///< kept for the host; the module stores, compares and returns it

    friend bool operator==(const NetworkUsageSettings &, const NetworkUsageSettings &) = default;
};
Q_DECLARE_METATYPE(NetworkUsageSettings)
