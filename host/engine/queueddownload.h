// SPDX-License-Identifier: MIT
#pragma once

#include <host/engine/downloadqueue.h>
#include <host/parsing/checksum.h>

#include <QElapsedTimer>
#include <QTimer>

#include <optional>

/// A download that has begun, as its queue keeps it.
struct QueuedDownload {
    /// An incomplete file that is in the way is none.
    bool isTargetThere() const;
    /// What comes of it when it is stopped. What is complete is found again by its number alone.
    Failure stopped() const;

    qint64 id = 0;
    DownloadOptions options;
    std::optional<Checksum> expected; ///< what the finished file is being compared with
    Sources sources;
    AbstractDownloadPersistentInfo info; ///< as the newest run left it
    DownloadDetails details;
    Watchdog watchdog;
    Watchdog::Finding finding = Watchdog::Finding::Fine; ///< why the run was stopped
    QElapsedTimer clock;
    QTimer retryTimer;
    bool isRunning = false;
    bool isAsking = false;
    bool areFilesWorkedOn = false;
    bool isFileLeft = false; ///< somebody said that a file in the way is to stay
    bool isYoung = true; ///< no tick has come since the run began
    int requests = 0;
    int attempts = 0; ///< of all
    int failures = 0; ///< since the last progress
    int restarts = 0; ///< that nobody was asked about
    DownloadQueue::Job job = DownloadQueue::Job::Download; ///< of the newest run, or of the one that the timer begins
    QtHostAndPort server; ///< that the newest run began with
    qint64 mostBytes = 0; ///< that were on disk at the end of an attempt
    qint64 share = 0; ///< bytes/s that it may take now
    qint64 sharePerTransfer = 0; ///< of these
    qint64 mostConnections = 0; ///< that it may have now; 0 = no limit
};
