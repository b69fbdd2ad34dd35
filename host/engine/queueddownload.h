// SPDX-License-Identifier: MIT
#pragma once

#include <host/engine/downloadqueue.h>
#include <host/parsing/checksum.h>
#include <host/policy/streamwindow.h>

#include <QElapsedTimer>
#include <QTimer>

#include <memory>
#include <optional>

class DownloadStream;

/// A download that has begun, as its queue keeps it.
struct QueuedDownload {
    /// What becomes of it once it has ended.
    enum class Afterwards {
        Nothing, ///< nobody stopped it
        Pause, ///< it stays known, and may be resumed
        Leave, ///< the queue forgets it
    };

    /// Of one that is streamed: what of its run is as its reader wants it.
    struct Reading {
        std::shared_ptr<DownloadStream> stream; ///< null = it is not
        StreamWindow::Verdict verdict;
        bool isStopping = false; ///< the run was stopped for the verdict
        bool isWaiting = false; ///< for the reader; nothing runs
        bool isHashDecided = false; ///< it is known whether there is something to compare with
    };

    /// What was seen of the run that goes on, or of the newest.
    struct Run {
        Watchdog watchdog;
        Watchdog::Finding finding = Watchdog::Finding::Fine; ///< why it was stopped
        int ticks = 0; ///< that came since it began
        int requests = 0;
        bool areFilesWorkedOn = false; ///< as its module says
        Failure givenUp; ///< why it cannot go on, whatever its error says; none = it can
    };

    /// An incomplete file that is in the way is none.
    bool isTargetThere() const;
    /// What comes of it when it is stopped. What is complete is found again by its number alone.
    Failure stopped() const;

    qint64 id = 0;
    DownloadOptions options;
    std::unique_ptr<ChecksumSearch> search; ///< while one is looked for
    bool isSearched = false; ///< or has been
    std::optional<Checksum> expected; ///< what the finished file is being compared with
    quint64 comparison = 0; ///< by which the hasher knows that
    Sources sources;
    AbstractDownloadPersistentInfo info; ///< as the newest run left it
    DownloadDetails details;
    Run run;
    Reading reading;
    Afterwards afterwards = Afterwards::Nothing;
    bool isOwnerAwaited = false; ///< it rests, or has rested, until its owner's end
    bool isWithoutPlace = false; ///< it rests until then, and another one may run in its place
    bool isOutOfHours = false; ///< it is being stopped, or rests, until they come
    std::optional<AbstractDownloadFileExistsAction> answer; ///< what somebody said of a file in the way
    bool isUnanswered = false; ///< nobody said it
    QElapsedTimer clock;
    QTimer restTimer; ///< runs while it is Resting
    int attempts = 0; ///< of all
    int failures = 0; ///< since the last progress
    int restarts = 0; ///< that nobody was asked about
    DownloadQueue::Job job = DownloadQueue::Job::Download; ///< of the newest run, or of the one after the rest
    QtHostAndPort server; ///< that the newest run began with
    qint64 mostBytes = 0; ///< that were on disk at the end of an attempt
    qint64 share = 0; ///< bytes/s that it may take now
    qint64 sharePerTransfer = 0; ///< of these
    qint64 mostConnections = 0; ///< that it may have now; 0 = no limit
};
