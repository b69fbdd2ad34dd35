// SPDX-License-Identifier: MIT
#pragma once

#include <host/engine/downloadoutcome.h>
#include <host/engine/downloadqueue.h>
#include <host/engine/engine.h>
#include <host/engine/resourcecheck.h>
#include <host/engine/toldstates.h>
#include <host/storage/downloadstore.h>

#include <QHash>
#include <QMap>
#include <QQueue>
#include <QSet>
#include <QTimer>

#include <functional>
#include <memory>
#include <optional>

class DownloadSession;
class FileTakeOver;
struct TakenFile;

/// The engine in this process: list, session and queue behind the face, and what front ends are told of them.
///
///     transmit() ──> commands ── work() ──> session, queue, list ──> news ── flush() ──> deliver()
///
/// Commands are done one after the other from the event loop; what they and the downloads have to say is put into the
/// news first and told from there, so that nobody is called while something is being changed. Modules and network come
/// up with the first command that needs them. Lives in the session's thread.
class LocalEngine : public Engine
{
    Q_OBJECT

public:
    explicit LocalEngine(QObject *parent = nullptr);
    /// What still runs is cut off, and told of no more; see close().
    ~LocalEngine() override;

protected:
    void transmit(const EngineCommand &command) override;

private:
    /// Rows of downloads that wait are kept, too, up to so many in all.
    static constexpr qsizetype kMostRows = 2000;
    /// Of those that have ended, so many are known by more than what the list says of them.
    static constexpr qsizetype kMostReports = 500;

    /// What is kept of a run after its end, for the rows that are made later.
    struct Report {
        RunSnapshot run;
        Failure failure;
        std::optional<ListEntry> line = {}; ///< see DownloadOutcome
        AbstractError error = {}; ///< of its record, which the list may be given later
        bool isFinished = false; ///< likewise
        std::optional<ListEntry> known = {}; ///< what the list had of it at the end; nothing = nobody has asked yet
        std::optional<ListEntry> seen = {}; ///< what it had of it when it was last asked; likewise
        std::optional<qint64> seenAt = {}; ///< as m_othersChanges was then
        quint64 number = 0; ///< of all that were made

        bool isOf(const ListEntry &entry) const;
    };
    /// What a command does with some of many downloads. True = there are more.
    using Slice = std::function<bool()>;
    /// A command whose answer takes a server's.
    struct Lookup {
        EngineCommand command;
        QueryResult found;
        EngineAnswer known; ///< what the list has of it
    };

    // News.
    void tell(const EngineNews &news);
    void flush();
    void answer(const EngineCommand &command, EngineAnswer given = {});
    void refuse(const EngineCommand &command, const Failure &failure);
    void warn(qint64 id, const Warning &warning);
    Failure noSuch(qint64 id);

    // From its beginning to its end.
    void work();
    void inSlices(Slice slice);
    void doSlice();
    void run(const EngineCommand &command);
    bool isRefused(const EngineCommand &command);
    void open(const EngineCommand &command);
    void prepared(const EngineCommand &command);
    bool openList();
    bool bringUp(Failure *failure);
    void connectAll();
    void close(const EngineCommand &command);
    void onDrained();
    void onClosed();

    // Commands.
    void add(const EngineCommand &command);
    bool isThere(const EngineCommand &command);
    EngineAnswer standingOf(const DownloadRequest &request);
    void takeDone(const EngineCommand &command, const DownloadRequest &request, const ListEntry &known);
    bool awaitOwner(const EngineCommand &command, const Failure &failure);
    qint64 addNow(const EngineCommand &command, const TakenFile *taken, bool *isNew = nullptr);
    void onTakenOver(FileTakeOver *work, const Failure &failure, const TakenFile &file);
    void giveUpTakeOvers();
    void begin(const EngineCommand &command, DownloadQueue::Job job);
    void restart(const EngineCommand &command);
    void append(const ListEntry &known, DownloadQueue::Job job);
    void pause(const EngineCommand &command);
    bool haveQueueDo(const EngineCommand &command, bool (DownloadQueue::*operation)(qint64, Failure *));
    void pauseAll(const EngineCommand &command);
    void resumeAll(const EngineCommand &command);
    void resumeThese(const EngineCommand &command, const QList<ListEntry> &chosen);
    void remove(const EngineCommand &command);
    void removeNow(const EngineCommand &command);
    void finishNow(const EngineCommand &command);
    void move(const EngineCommand &command);
    void setLimits(const EngineCommand &command);
    void setOptions(const EngineCommand &command);
    void answerChange(const EngineCommand &command, const Failure &failure);
    void setGlobalLimits(const EngineCommand &command);
    void setMostAtOnce(const EngineCommand &command);
    void takeStream(const EngineCommand &command);
    void listQuestions(const EngineCommand &command);
    void answerOverview(const EngineCommand &command);
    void answerQuestion(const EngineCommand &command);

    // Lookups.
    void check(const EngineCommand &command);
    void checkNext();
    void giveUpCheckOf(qint64 id);
    void beginCheck(const EngineCommand &command, AbstractDownloadPersistentInfo &record);
    void onChecked(const ResourceCheck::Result &result);
    void query(const EngineCommand &command);
    void setUrl(const EngineCommand &command);
    void setUrlNow(const EngineCommand &command);
    void setUrlIfItFits(const EngineCommand &command, const QueryResult &found);
    void onQueried(qint64 id, const QueryResult &result);
    void onLookedUp(qint64 id, const AbstractDownloadPersistentInfo &info);
    void endLookups();

    // Rows.
    DownloadStore &list();
    std::optional<ListEntry> entry(qint64 id);
    static ListEntry owned(ListEntry entry);
    static bool mayBeFree(const ListEntry &entry);
    Snapshot rowOf(const ListEntry &entry);
    Snapshot activeRow(const Snapshot &told);
    void putStream(Snapshot &row) const;
    void tellRow(qint64 id);
    void tellIfChanged(qint64 id);
    void tellChanged(const Snapshot &snapshot);
    void tellAdded(const Snapshot &snapshot);
    void tellOfOthers(qint64 changes);
    void beginToWatchOthers();
    qint64 watchedRows();
    void watchAnew(qint64 before);
    void tellRemoved(qint64 id);
    void transition(const Snapshot &row);
    void tellIfOthers(const Snapshot &row);
    void keepOthers(const Snapshot &row);
    void tick();
    Totals totals() const;
    void answerSnapshot(const EngineCommand &command);
    void answerPage(const EngineCommand &command);
    QList<ListEntry> pageOf(const SnapshotQuery &query);
    bool isQueued(qint64 id) const;

    // What queue and session tell.
    void onStateChanged(qint64 id, DownloadState from, DownloadState to);
    void onWaiting(qint64 id);
    void onBegan(qint64 id);
    void onAtRest(qint64 id);
    void onPausedBeforeItBegan(qint64 id);
    void tellAtRest(qint64 id, const std::optional<Snapshot> &row);
    void tellPaused(const QSet<qint64> &ids);
    bool tellPausedOf(QSet<qint64> &ids, qint64 &before);
    void warnOfMissingHeaders(qint64 id);
    void setState(qint64 id, DownloadState state);
    bool hasRow(qint64 id);
    void onEnded(const DownloadOutcome &outcome);
    void keepReport(const DownloadOutcome &outcome);
    void dropOldestReport();
    void forgetReport(qint64 id);
    const Report *reportOf(const ListEntry &entry);
    std::optional<Snapshot> rowNotRead(qint64 id) const;
    Snapshot ended(Snapshot last) const;
    void tellGone(const Snapshot &last);

    // Questions.
    void onDecision(qint64 id, Trouble::Kind kind);
    void onFileExists(qint64 id, int fileIndex, const QList<QString> &paths);
    qint64 ask(Question question);
    void apply(const Question &question, Question::Choice choice);
    void closeQuestion(qint64 questionId);
    void closeQuestionsOf(qint64 id, DownloadState state);

    std::optional<EngineOptions> m_options; ///< nothing = open() was not called
    std::unique_ptr<DownloadStore> m_list; ///< until there is a session, which has its own
    Failure m_listWarning; ///< as open() answered it
    std::unique_ptr<DownloadSession> m_session;
    std::unique_ptr<DownloadQueue> m_queue;
    std::unique_ptr<ResourceCheck> m_check;
    QQueue<EngineCommand> m_commands;
    QQueue<EngineNews> m_news;
    QHash<qint64, DownloadQueue::Job> m_jobs; ///< of those that wait or are active, where it is no plain download
    QHash<qint64, Snapshot> m_rows; ///< of all that are active, and some that wait, as they were told
    ToldStates m_told;
    QHash<qint64, Report> m_reports;
    QMap<quint64, qint64> m_reportsByAge; ///< their downloads, by their numbers
    quint64 m_lastReport = 0;
    Slice m_slice; ///< of the command that is under way; null = none has more to do
    std::optional<EngineCommand> m_sliced; ///< that command, until it is answered
    std::optional<ListEntry> m_appended; ///< while it is
    std::optional<QSet<qint64>> m_paused; ///< while all are: of those that had not begun
    QHash<qint64, size_t> m_others; ///< how rows were told that another process has
    QHash<qint64, EngineCommand> m_removals; ///< of those that are being paused for it
    QHash<FileTakeOver *, EngineCommand> m_takeOvers; ///< children; each of an add()
    QHash<qint64, Lookup> m_lookups; ///< by the session's number for the query
    QQueue<EngineCommand> m_checks; ///< the first one is under way
    qint64 m_checking = 0; ///< the download that it is of; 0 = none is
    QList<Question> m_questions;
    QHash<qint64, int> m_fileIndexes; ///< by question
    Totals m_totals; ///< as they were told
    QTimer m_tick;
    QTimer m_othersTimer; ///< once somebody has rows of the list
    std::optional<qint64> m_othersChanges; ///< that all who have rows of the list were told of
    qint64 m_lastQuestion = 0;
    bool m_isEndAskedFor = false; ///< by a command that may not have begun yet
    bool m_isClosing = false;
    bool m_isFlushing = false;
};
