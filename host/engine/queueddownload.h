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

/// What a download that is Resting waits for, and who looks whether it has come.
enum class RestReason {
    None, ///< it does not rest
    Time, ///< another attempt, or another look for a connection or a free list; its timer ends it
    Owner, ///< likewise, and before that the end of its owner: it has no place, so that another one may run
    Hours, ///< in which something may run; the queue looks at the clock
    Reader, ///< of what is streamed; the queue looks how far he is
};

/// Why a download is being stopped, from which follows what comes then. People's reasons replace those of the queue.
enum class StopReason {
    None, ///< nobody stops it, or only its watchdog; or it may not go on, or its guard found another file
    Reader, ///< it is far ahead of him, or is to be cut anew; it rests then
    Hours, ///< they are over; it rests until they come
    Pause, ///< it stays known, and may be resumed
    Leave, ///< the queue forgets it
};

/// A download that has begun, as its queue keeps it.
struct QueuedDownload {
    /// What was said of a file in its way.
    enum class Answer {
        None, ///< nothing, or that it need not stay
        Skip, ///< it stays, and is as good as the download
        Nobody, ///< it stays, because there was nobody to ask
    };

    /// Of one that is streamed: what of its run is as its reader wants it.
    struct Reading {
        std::shared_ptr<DownloadStream> stream; ///< null = it is not
        StreamWindow::Verdict verdict;
        bool isHashDecided = false; ///< it is known whether there is something to compare with
    };

    /// What was seen of the run that goes on, or of the newest.
    struct Run {
        Watchdog watchdog;
        /// Other than Fine, it is stopped. No StopReason: what is being stopped may hang at that.
        Watchdog::Finding finding = Watchdog::Finding::Fine;
        int ticks = 0; ///< that came since it began
        int requests = 0;
        bool areFilesWorkedOn = false; ///< as its module says
        Failure givenUp; ///< why it cannot go on, whatever its error says; none = it can
    };

    /// An incomplete file that is in the way is none.
    bool isTargetThere() const;
    /// Nothing but the clock keeps it from going on.
    bool isOutOfHours() const { return stop == StopReason::Hours || rest == RestReason::Hours; }
    /// Somebody wants no more of it for now.
    bool isCalledOff() const { return stop == StopReason::Pause || stop == StopReason::Leave; }
    /// Its state is another one now.
    void forgetReasons();
    /// What comes of it when it is stopped. What is complete is found again by its number alone.
    Failure stopped() const;

    qint64 id = 0;
    DownloadOptions options;
    std::unique_ptr<ChecksumSearch> search; ///< while one is looked for
    std::optional<Checksum> expected; ///< what the finished file is being compared with
    quint64 comparison = 0; ///< by which the hasher knows that
    Sources sources;
    AbstractDownloadPersistentInfo info; ///< as the newest run left it
    DownloadDetails details;
    Run run;
    Reading reading;
    // Those of its state, with which they end.
    StopReason stop = StopReason::None;
    RestReason rest = RestReason::None;
    bool wasOwnerAwaited = false; ///< whatever came then: who lives would be waited for without end
    Answer answer = Answer::None;
    QElapsedTimer clock;
    QTimer restTimer; ///< runs while it rests for some time
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
