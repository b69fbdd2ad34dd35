// SPDX-License-Identifier: MIT
#pragma once

#include <QHash>
#include <QList>
#include <QtGlobal>

/// One limit for many downloads. The network layer limits each transfer for itself, so that a limit of a download is to
/// be divided by its transfers, and one of all downloads by theirs. Pure.
namespace SpeedShares
{

/// A running download.
struct Item {
    qint64 id = 0;
    qint64 limit = 0; ///< its own, bytes/s; 0 = none
    int transfers = 1; ///< that run now
    qint64 speed = 0; ///< bytes/s, as measured
    qint64 share = 0; ///< bytes/s that it was given last; 0 = no limit
};

/// Bytes/s for the whole of each download, by id; 0 = no limit. The shares of all add up to @p limit at most.
/// Who does not use its share leaves the rest of it to the others, but keeps room to grow.
QHash<qint64, qint64> distribute(qint64 limit, const QList<Item> &items);

/// What each of a download's transfers may take of its share; 0 = no limit.
qint64 perTransfer(qint64 share, int transfers);

}
