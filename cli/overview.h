// SPDX-License-Identifier: MIT
#pragma once

#include <host/engine/downloadstate.h>
#include <host/engine/downloadstatus.h>

#include <QList>
#include <QUrl>
#include <QtGlobal>

/// One running download as printers see it.
struct DownloadView {
    qint64 id = 0; ///< of the list; below 0 = a query, which is in no list
    QUrl url;
    DownloadStatus status;
    DownloadState state = DownloadState::Running;
};

/// All that a command has to do, at this moment.
struct Overview {
    QList<DownloadView> running = {}; ///< in the order in which they are shown; those that wait for a retry, too
    int waiting = 0; ///< not begun yet
    int done = 0;
    int stopped = 0;
    int failed = 0;
    qint64 bytesDone = 0; ///< of all of them
    qint64 bytesTotal = -1; ///< of all of them; -1 = unknown
    qint64 speed = 0; ///< of all of them, bytes/s
};
