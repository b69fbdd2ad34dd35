// SPDX-License-Identifier: MIT
#pragma once

#include <host/engine/checksumsearch.h>
#include <host/engine/downloadoutcome.h>
#include <host/engine/downloadstate.h>
#include <host/engine/downloadstatus.h>
#include <host/engine/filehasher.h>
#include <host/engine/limits.h>
#include <host/engine/outbox.h>
#include <host/engine/queueoptions.h>
#include <host/engine/warning.h>
#include <host/options/downloadoptions.h>
#include <host/parsing/checksum.h>
#include <host/policy/sources.h>
#include <host/policy/streamwindow.h>
#include <host/policy/trouble.h>
#include <host/policy/watchdog.h>
#include <host/storage/rowplaces.h>
#include <inet/qt/download/records/connectionsmap.h>
#include <inet/qt/download/records/networkusagesettings.h>

#include <QDateTime>
#include <QElapsedTimer>
#include <QList>
#include <QObject>
#include <QTimer>

#include <limits>
#include <memory>
#include <optional>
#include <unordered_map>

class DownloadSession;
enum class RestReason;
struct Lease;
struct QueuedDownload;

/// Runs downloads of a session, so many at once: tries again what may pass, goes from one mirror to the next, applies
/// the policies or asks, shares speed and connections out, and watches over what a module cannot see.
///
///     append ──> Waiting ──> Running ──> Resting ──> Running ...
///                   │           ├──────> Asking ── decide() ──> Running, or Failed
///                   │           ├──────> Hashing ──> Done, or Failed
///                   │           └──────> Done, or Failed
///                   └─ pause() ─┴── pause() ──> Paused ── resume() ──> Waiting
///
/// Every change of a state is told by stateChanged(), behind all else that is told of it; see downloadStates(). Each
/// download that has begun ends with exactly one ended(), also when it is paused; each time that it begins with one
/// began(). What ended is no longer known here, unless it was paused.
///
/// Where its options name hours of the day, nothing runs at others: what would begin waits, and what runs is stopped
/// and rests until they come. The clock is looked at once a second, so that it may be set, and a machine may sleep.
///
/// Lives in the session's thread, and is to be called there. Signals come when a call or an event is done with, one
/// after the other, and never from inside a call that comes from another signal. Operations that make no sense answer
/// false and say why (WrongState), and change nothing. Where the queue goes first, what runs goes on in the session,
/// unwatched.
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

    /// A place behind all that there are.
    static constexpr qint64 kBehindAll = std::numeric_limits<qint64>::max();

    /// @param session open; outlives the queue
    explicit DownloadQueue(DownloadSession &session, const QueueOptions &options, QObject *parent = nullptr);
    ~DownloadQueue() override;

    /// Has a download wait; stateChanged() to Waiting follows, from Paused where it is not known here. False when it
    /// waits or has begun already, and after close(). @param placeKey of its place in the list: it begins before those
    /// that wait with a greater one, and behind all others
    bool append(qint64 id, Job job = Job::Download, Failure *failure = nullptr, qint64 placeKey = kBehindAll);
    /// What waits does not begin; what has begun is stopped, and all of it saved first: stateChanged() follows, then to
    /// Paused, or to Done where nothing was left to be done. It stays known. False when it neither waits nor has begun,
    /// or is being stopped already.
    bool pause(qint64 id, Failure *failure = nullptr);
    /// Has what is paused wait again, in its place; stateChanged() follows. It begins as if it were new here. False
    /// when it is not Paused, and after close().
    bool resume(qint64 id, Failure *failure = nullptr);
    /// Is content with what is there of one that waits or has begun, which ends with that; stateChanged() follows.
    /// False, with the reason, where that is not one piece from the start.
    bool finishNow(qint64 id, Failure *failure);
    /// As pause(), and then it is known here no longer: stateChanged() to Removed is the last of it. False when it is
    /// not known. What is being stopped already leaves, too.
    bool take(qint64 id, Failure *failure = nullptr);
    /// The places in the list of some downloads are others now; those that are not known here do not matter. No signal.
    void setPlaces(const QList<RowPlace> &places);
    /// pause() for all that waits or has begun.
    void pauseAll();
    /// resume() for all that is paused, in the order in which it was.
    void resumeAll();
    /// For good: ends in order what has begun. What waits is given up all at once: neverBegan() follows, and no other
    /// signal of it. What is paused is forgotten.
    void close();
    /// The answer to decisionRequired(). Nothing where none is open.
    void decide(qint64 id, bool restart);
    /// The answer to the session's fileExistsActionRequired(). What people skip is as good as a download.
    void answerFileExists(qint64 id, int fileIndex, AbstractDownloadFileExistsAction action);
    /// There is nobody to answer: the file stays as it is, and the download ends with that error.
    void leaveUnanswered(qint64 id, int fileIndex);
    /// From now on; at least 1. What is more than that goes on.
    void setMostAtOnce(int count);
    /// bytes/s of all together, from now on; 0 = none.
    void setSpeedLimit(qint64 limit);
    /// Connections of all together, from now on; 0 = no limit.
    void setMostConnections(int count);
    /// Of one download, from now on and in the list; 0 = the session's. False when the list cannot be written, where
    /// the limits hold all the same, or another process is at work on it.
    bool setLimitsOf(qint64 id, const Limits &limits, Failure *failure);
    /// Of one whose options were changed: what of them is limits holds from now on, where it is active.
    void renewLimitsOf(qint64 id);

    /// As they are now.
    const QueueOptions &options() const { return m_options; }
    /// Nothing runs and nothing waits.
    bool isIdle() const { return m_waiting.isEmpty() && m_order.isEmpty(); }
    qsizetype waitingCount() const { return m_waiting.size(); }
    /// In the order in which they will begin, as far as their servers have room.
    QList<qint64> waitingIds() const { return m_waiting; }
    /// Those that have begun and not ended, in the order in which they began.
    QList<qint64> activeIds() const { return m_order; }
    /// Nothing = it is not known here.
    std::optional<DownloadState> state(qint64 id) const;
    DownloadStatus status(qint64 id) const;

Q_SIGNALS:
    /// @param url as the list has it; empty = the list has no such download
    void began(qint64 id, const QUrl &url);
    /// An attempt failed; the next one begins by itself. @param retry a Warning::Kind::Retrying
    void retrying(qint64 id, const Warning &retry);
    void decisionRequired(qint64 id, Trouble::Kind kind);
    void ended(const DownloadOutcome &outcome);
    /// What the session has to say, too, in its place among the signals of here.
    void warned(qint64 id, const Failure &failure);
    void stateChanged(qint64 id, DownloadState from, DownloadState to);
    /// So many waited when the queue was closed, and more than 0.
    void neverBegan(qsizetype count);
    /// All wait for the hours that the options name; told once each time. @param ms until then
    void outOfHours(const QDateTime &until, qint64 ms);
    /// Nothing is left to do.
    void drained();

protected:
    /// ms of the clock that the watchdog goes by; it only goes forward.
    virtual qint64 elapsedMs() const { return m_clock.elapsed(); }
    /// What the clock on the wall says, by which hours go: people may set it, forward and back.
    virtual QDateTime wallClock() const { return QDateTime::currentDateTime(); }

private:
    enum class Life {
        Open,
        Closing, ///< nothing begins any more
    };

    /// All that is known here has one.
    struct Entry {
        DownloadState state = DownloadState::Paused;
        Job job = Job::Download; ///< that it waits for
        qint64 placeKey = kBehindAll; ///< of its place in the list
        QtHostAndPort server; ///< of one that waits, known once it was looked at
        std::unique_ptr<QueuedDownload> active; ///< null = it has not begun, or has ended
    };

    Entry *entryOf(qint64 id);
    QueuedDownload *find(qint64 id);
    QueuedDownload *findIn(qint64 id, DownloadState state);
    bool isRunning(const QueuedDownload &active) const;
    void transition(qint64 id, DownloadState to);
    void forget(qint64 id);
    static bool refuse(qint64 id, Clause::Kind reason, Failure *failure);
    void enqueue(qint64 id, Job job);
    void putAmongWaiting(qint64 id);
    void pauseWaiting(qint64 id);
    void stop(QueuedDownload &active, bool isTaken);
    void giveUpWaiting();
    void finishSoon(Entry &entry, qint64 id);

    void fill();
    void fillSoon();
    void tellDrained();
    bool isPlaceFree() const;
    qsizetype nextToBegin();
    bool isFull() const;
    bool isFull(const QtHostAndPort &server) const;
    bool areConnectionsBounded() const;
    void begin(qint64 id);
    bool holdIfFree(QueuedDownload &active, Failure *failure);
    static void setLease(QueuedDownload &active, const Lease &lease);
    bool awaitOwnersEnd(QueuedDownload &active, const Failure &failure, Job job);
    void endUnlessItPasses(QueuedDownload &active, const Failure &failure, Job job);
    void makeActive(Entry &entry, qint64 id, const Lease &lease);
    Lease unclaimed(qint64 id, Failure *failure);
    void tryAgain(qint64 id, Job job);
    bool run(QueuedDownload &active, Job job, Failure *failure);
    bool beginRun(const QueuedDownload &active, Failure *failure);
    void rest(QueuedDownload &active, RestReason reason, Job job);
    void rest(QueuedDownload &active, RestReason reason, qint64 ms, Job job);
    void tick();
    void watch(QueuedDownload &active);
    void follow(QueuedDownload &active);
    void watchStreams();
    void watchStream(QueuedDownload &active);
    void boundForReader(QueuedDownload &active);
    StreamWindow::Sample sampleOf(const QueuedDownload &active, const AbstractDownloadPersistentInfo &info,
                                  const StreamWindow::Ranges &ranges) const;
    void hashAlong(QueuedDownload &active);
    void hashStream(QueuedDownload &active);
    bool restForReader(QueuedDownload &active);
    void goOnForReader(QueuedDownload &active);
    void takeForReader(QueuedDownload &active) const;
    static bool hasGoneOut(const QueuedDownload &active);
    bool isInHours() const;
    void keepHours();
    void goOnInHours();
    void stopOutOfHours();
    bool restOutOfHours(QueuedDownload &active, Job job);
    bool goesOnLater(QueuedDownload &active);
    bool canWait(const QueuedDownload &active) const;
    void tellHours();
    qint64 msToHours() const;
    qint64 speedLimitOf(const QueuedDownload &active) const;
    void share();
    qint64 mostConnectionsOf(const QueuedDownload &active) const;
    void shareConnections();
    void shareSpeed();
    NetworkUsageSettings usageOf(const QueuedDownload &active) const;
    void onRequest(qint64 id);
    void onGivenUp(qint64 id, const Failure &why);
    void onFilesWorkedOn(qint64 id, bool performing);
    void onFinished(qint64 id, const AbstractDownloadPersistentInfo &info, const DownloadDetails &details,
                    const QList<QString> &responseHeaders);
    void judge(QueuedDownload &active, const QList<QString> &responseHeaders);
    static QUrl failedUrl(const QueuedDownload &active);
    bool tryNextSource(QueuedDownload &active);
    bool handleTrouble(QueuedDownload &active);
    bool restartUnasked(QueuedDownload &active);
    bool tryAgainLater(QueuedDownload &active, const QList<QString> &responseHeaders);
    static Failure whyEndedByWatchdog(const QueuedDownload &active);
    void retry(QueuedDownload &active, const Warning &how, Job job);
    bool searchChecksum(QueuedDownload &active);
    void onChecksumSearchRests(qint64 id, const SmallFetch::Answer &answer, int attempt, qint64 inMs);
    void onChecksumSearched(qint64 id, const ChecksumSearch::Found &found);
    void takeChecksum(QueuedDownload &active, const Checksum &checksum);
    void compareChecksum(QueuedDownload &active);
    void hash(QueuedDownload &active);
    void onHashed(quint64 comparison, const QByteArray &digest, const Clause &why);
    void concludeHash(QueuedDownload &active, const QByteArray &digest, const Clause &why);
    std::optional<Checksum> expectedOf(const QueuedDownload &active, Clause *problem) const;
    static Failure mismatch(const QueuedDownload &active, const QByteArray &digest);
    Failure failureOf(const QueuedDownload &active) const;
    std::optional<Checksum> serversDigest(const QueuedDownload &active) const;
    FileAssurance assuranceOf(const QueuedDownload &active) const;
    void setChecksumResult(QueuedDownload &active, ChecksumResult result);
    void setDigestResult(const QueuedDownload &active, ChecksumResult result);
    void warn(qint64 id, const Failure &failure);
    DownloadOutcome outcomeOf(const QueuedDownload &active, const Failure &failure);
    void end(QueuedDownload &active, const Failure &failure);
    void endByItsError(QueuedDownload &active);
    bool mayBeSkipped(const QueuedDownload &active) const;
    void endAsSkipped(QueuedDownload &active);

    DownloadSession &m_session;
    QueueOptions m_options;
    std::unordered_map<qint64, Entry> m_entries;
    QList<qint64> m_waiting; ///< of m_entries, and not begun, by their places; the first is the next
    QList<qint64> m_order; ///< of m_entries, those that have begun
    QList<qint64> m_paused; ///< of m_entries
    QTimer m_tick;
    QTimer m_streamTick; ///< runs while anything is streamed
    QElapsedTimer m_clock;
    std::unique_ptr<FileHasher> m_hasher; ///< made when first needed
    Outbox m_outbox;
    Life m_life = Life::Open;
    bool m_isFillDue = false;
    bool m_isListInUseTold = false; ///< since something was claimed behind that
    bool m_areHoursTold = false; ///< since they were over
    bool m_hasNews = false; ///< since drained()
};
