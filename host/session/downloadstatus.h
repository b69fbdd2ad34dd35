// SPDX-License-Identifier: MIT
#pragma once

#include <QtGlobal>

/// A download at this moment.
struct DownloadStatus {
    qint64 done = 0;
    qint64 total = -1; ///< -1 = unknown
    qint64 speed = 0; ///< bytes/s
    int connections = 0;
    qint64 allocated = -1; ///< bytes reserved on disk so far; -1 = nothing is being reserved
};
