// SPDX-License-Identifier: MIT
#pragma once

#include <host/storage/listentry.h>

#include <QtGlobal>

/// Which snapshots are asked for. A value.
struct SnapshotQuery {
    enum class Order {
        Position, ///< as they stand in the list: the first to begin comes first
        Newest, ///< those put into the list last come first
        Name,
        Size,
        Created,
    };

    qint64 first = 0; ///< so many are passed over
    qint64 count = -1; ///< so many at most; -1 = all
    ListFilter filter = ListFilter::All;
    Order order = Order::Position;

    friend bool operator==(const SnapshotQuery &, const SnapshotQuery &) = default;
};
