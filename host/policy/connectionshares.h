// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/framework/downloaddetails.h>

#include <QHash>
#include <QList>
#include <QtGlobal>

/// One limit of connections for many downloads, and what a module is told of it. Pure.
namespace ConnectionShares
{

/// A download that runs, or is about to.
struct Item {
    qint64 id = 0; ///< 0 = it does not run yet: its share is left free
    qint64 most = 0; ///< its own limit; 0 = none
    int used = 0; ///< connections that it has now
    ConnectionsBound bound = ConnectionsBound::None; ///< why it had not more up to now
};

/// Connections that each of those that run may have, by id; 0 = no limit. Each may have one at least. Who cannot make
/// use of its share leaves the rest of it to the others.
/// @param limit of all together; 0 = none
QHash<qint64, qint64> distribute(qint64 limit, const QList<Item> &items);

/// A module holds its limit against the connections of all downloads: told this one, it lets a download of its have
/// @p most (0 = as many as it likes) while the others have @p others, and all together @p overall (0 = likewise).
qint64 toldLimit(qint64 most, qint64 others, qint64 overall);

}
