// SPDX-License-Identifier: MIT
#pragma once

#include <host/network/transferstatus.h>
#include <inet/qt/download/records/abstractdownloadsection.h>
#include <inet/qt/download/records/connectionsmap.h>

#include <QList>
#include <QString>

/// A download at this moment.
struct DownloadStatus {
    qint64 done = 0;
    qint64 total = -1; ///< -1 = unknown
    qint64 speed = 0; ///< bytes/s
    int connections = 0;
    qint64 allocated = -1; ///< bytes reserved on disk so far; -1 = nothing is being reserved
    QString name = {}; ///< of the file; empty = not known yet
    QList<AbstractDownloadSection> sections = {}; ///< what of the file is filled
    QList<qint64> fetching = {}; ///< places in the file at which bytes arrive now
    QtConnectionsMap servers = {}; ///< to which the connections go
    QList<TransferStatus> transfers = {}; ///< that bring them; empty = there are none, or nobody here makes them
    qint64 retryInMs = -1; ///< time to the next attempt; -1 = it is not waiting for one
};
