// SPDX-License-Identifier: MIT
#pragma once

#include <host/engine/downloadoutcome.h>
#include <host/engine/downloadstatus.h>
#include <host/engine/filehasher.h>
#include <host/engine/queueoptions.h>
#include <host/options/downloadoptions.h>
#include <host/parsing/checksum.h>
#include <host/policy/sources.h>
#include <host/policy/trouble.h>
#include <host/policy/watchdog.h>
#include <inet/qt/download/records/connectionsmap.h>
#include <inet/qt/download/records/networkusagesettings.h>

#include <QElapsedTimer>
#include <QHash>
#include <QObject>
#include <QQueue>
#include <QTimer>

#include <functional>
#include <memory>
#include <optional>
#include <unordered_map>

class DownloadSession;
struct QueuedDownload;

/// Runs downloads of a session, so many at once: tries again what may pass, goes from one mirror to the next, applies
/// the policies or asks, shares speed and connections out, and watches over what a module cannot see.
///
///     waiting ──> running ──> failed, may pass ──> waiting for the next attempt ──> running ...
///        │           ├──────> needs a decision ──> decide() ──> running, or ended
///        │           └──────> the file is there ──> its checksum is compared ──> ended
///        └─ pause() ─┴── pause() ──────────────────────────────────────────────> ended (unfinished)
///
/// Lives in the session's thread. Each download that was appended ends with exactly one ended(), with a began() before
/// it unless it was paused while it waited. Where the queue goes first, what runs goes on in the session, unwatched.
class DownloadQueue : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(DownloadQueue)

public:
    /// What is to be done with a download.
    enum class Job {
        Download,
        Restart, ///< fetch all of it again
        FinishNow, ///< be content with what is there
    };

    /// @param session open; outlives the queue
    explicit DownloadQueue(DownloadSession &session, const QueueOptions &options, QObject *parent = nullptr);
    ~DownloadQueue() override;

    /// What waits or has begun already is not appended again. After pause() it ends at once, unfinished.
    void append(qint64 id, Job job = Job::Download);
    /// For good: ends everything in order; what waits does not begin any more.
    void pause();
    /// The answer to decisionRequired().
    void decide(qint64 id, bool restart);
    /// The answer to the session's fileExistsActionRequired(). What people skip is as good as a download; where there
    /// is nobody to ask, it is an error.
    void answerFileExists(qint64 id, int fileIndex, AbstractDownloadFileExistsAction action);
    /// bytes/s of all together, from now on; 0 = none.
    void setSpeedLimit(qint64 limit);
    /// bytes/s of one download, from now on and in the list; 0 = the session's. False when the list cannot be
    /// written; the limit holds all the same.
    bool setSpeedLimitOf(qint64 id, qint64 limit, Failure *failure);
    /// Connections of all together, from now on; 0 = no limit.
    void setMostConnections(int count);
    /// Connections of one download, from now on and in the list; 0 = the session's. False as above.
    bool setMostConnectionsOf(qint64 id, int count, Failure *failure);

    /// Nothing runs and nothing waits.
    bool isIdle() const { return m_waiting.isEmpty() && m_active.empty(); }
    qsizetype waitingCount() const { return m_waiting.size(); }
    /// Those that have begun and not ended, in the order in which they began.
    QList<qint64> activeIds() const;
    DownloadStatus status(qint64 id) const;

Q_SIGNALS:
    /// @param url as the list has it; empty = the list has no such download
    void began(qint64 id, const QUrl &url);
    /// An attempt failed; the next one begins by itself. @param notice the address, what happened and what comes next
    void retrying(qint64 id, qint64 inMs, const QString &notice);
    void decisionRequired(qint64 id, Trouble::Kind kind, const QString &question);
    void ended(const DownloadOutcome &outcome);
    /// Nothing is left to do.
    void drained();

protected:
    /// ms of the clock that the watchdog goes by; it only goes forward.
    virtual qint64 elapsedMs() const { return m_clock.elapsed(); }

private:
    struct Waiting {
        qint64 id = 0;
        Job job = Job::Download;
        QtHostAndPort server; ///< known once it was looked at
    };

    void fill();
    void fillSoon();
    qsizetype nextToBegin();
    bool isFull() const;
    bool isFull(const QtHostAndPort &server) const;
    bool areConnectionsBounded() const;
    void endWaiting();
    void begin(const Waiting &waiting);
    bool run(QueuedDownload &active, Job job, Failure *failure);
    bool beginRun(const QueuedDownload &active, Failure *failure);
    void tick();
    void watch(QueuedDownload &active);
    void share();
    void shareConnections();
    void shareSpeed();
    NetworkUsageSettings usageOf(const QueuedDownload &active) const;
    bool keepOptions(qint64 id, const std::function<void(DownloadOptions &)> &change, Failure *failure);
    void onRequest(qint64 id);
    void onFinished(qint64 id, const AbstractDownloadPersistentInfo &info, const DownloadDetails &details,
                    const QList<QString> &responseHeaders);
    void judge(QueuedDownload &active, const QList<QString> &responseHeaders);
    static QUrl failedUrl(const QueuedDownload &active);
    bool tryNextSource(QueuedDownload &active);
    bool handleTrouble(QueuedDownload &active);
    bool restartUnasked(QueuedDownload &active);
    bool tryAgainLater(QueuedDownload &active, const QList<QString> &responseHeaders);
    void tryAgain(qint64 id, Job job);
    void waitFor(QueuedDownload &active, qint64 ms, Job job, const QString &notice);
    void compareChecksum(QueuedDownload &active);
    void onHashed(qint64 id, const QByteArray &digest, const QString &errorText);
    static Failure mismatch(const QueuedDownload &active, const QByteArray &digest);
    Failure failureOf(const QueuedDownload &active) const;
    std::optional<Checksum> serversDigest(const QueuedDownload &active);
    FileAssurance assuranceOf(const QueuedDownload &active);
    void setChecksumResult(QueuedDownload &active, ChecksumResult result);
    void setDigestResult(const QueuedDownload &active, ChecksumResult result);
    void end(QueuedDownload &active, const Failure &failure);
    void stop(QueuedDownload &active);
    void endByItsError(QueuedDownload &active);
    bool mayBeSkipped(const QueuedDownload &active) const;
    void endAsSkipped(QueuedDownload &active);
    QueuedDownload *find(qint64 id);

    DownloadSession &m_session;
    QueueOptions m_options;
    QQueue<Waiting> m_waiting;
    std::unordered_map<qint64, std::unique_ptr<QueuedDownload>> m_active;
    QList<qint64> m_order; ///< of m_active
    QTimer m_tick;
    QElapsedTimer m_clock;
    std::unique_ptr<FileHasher> m_hasher; ///< made when first needed
    bool m_pausing = false;
    bool m_hasNews = false; ///< since drained()
};
