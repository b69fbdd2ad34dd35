// SPDX-License-Identifier: MIT
#pragma once

#include <cli/aftercommands.h>
#include <cli/arguments.h>
#include <cli/overview.h>
#include <cli/runner.h>
#include <cli/summary.h>
#include <host/engine/engine.h>
#include <host/policy/trouble.h>

#include <QHash>
#include <QList>
#include <QSet>
#include <QTimer>

#include <memory>

class Printer;
class Questions;
class RequestFeed;
class StandardOutput;
class StreamWriter;

/// Downloads what the command line asks for: new URLs, or downloads of the list.
///
///     begin() ──> all are given to the engine, a few at a time ──> each has ended ──> engine closed ──┬──> done()
///                                       └──────────── stop() ────────────────────────┘               │
///                                          what --on-complete and --on-error called has ended ───────┘
class DownloadsRunner : public Runner
{
    Q_OBJECT

public:
    /// @param engine prepared; outlives this object, as the others do @param questions null = nobody is there to answer
    /// @param output that what is streamed is written to
    DownloadsRunner(const Arguments &arguments, Engine &engine, Printer &printer, Questions *questions,
                    StandardOutput &output, QObject *parent = nullptr);
    ~DownloadsRunner() override;

    void begin() override;
    void stop() override;

private:
    void refuseLines(const QStringList &complaints);
    void listen();
    void onArrived(const ListedRequests &listed);
    void onInputEnded(const QString &problem);
    void takeListed(const EngineAnswer &answer);
    void feed();
    void addNext();
    void resumeNext();
    void command(qint64 id, const Engine::Callback &callback);
    void onAdded(const DownloadRequest &request, const EngineAnswer &answer);
    void onResumed(qint64 id, const EngineAnswer &answer);
    bool expect(qint64 id);
    void onAnswered();
    void onChanged(const Snapshot &snapshot);
    void onBegan(const Snapshot &snapshot);
    void onEnded(const Snapshot &snapshot);
    bool isAwaited(const Snapshot &snapshot) const;
    void leaveToOwner(const Snapshot &snapshot);
    void leaveOut(qint64 id, qint64 pid);
    static bool isAtRest(DownloadState state);
    void onProgress();
    void onAsked(const Question &question);
    void onWarned(qint64 id, const Warning &warning);
    /// @param id 0 = it is not in the list
    void callAfter(qint64 id, const Summary &summary, const QString &path);
    void onClosed();
    void tellDone();
    void endIfDone();
    void skip(const Snapshot &there, const QString &path, bool isUpToDate = false);
    void askAbout(const DownloadRequest &request, const Snapshot &there, const QString &path);
    void onChecked(const DownloadRequest &request, const Snapshot &there, const QString &path,
                   const EngineAnswer &answer);
    void onChangedThere(Trouble::Policy policy, const Snapshot &there);
    void refuseChanged(const Snapshot &there);
    void fetchAnew(qint64 id);
    void refuse(qint64 id, const QUrl &url, const Failure &failure);
    void refuse(qint64 id, const Summary &summary);
    void count(const Summary &summary);
    Summary summaryOf(const Snapshot &snapshot) const;

    // What is streamed.
    void follow(const Snapshot &snapshot);
    bool isBeingWritten(const Snapshot &snapshot) const;
    void onWritten(qint64 id, qint64 written);
    void onWriterFailed(int error, bool isOutput);
    void explainStream(const Snapshot &snapshot, Summary &summary) const;
    void leaveStream(const Snapshot &snapshot);
    bool mayAddNext() const;
    bool isGivenUp() const;
    bool isStreaming() const;
    bool isListKept() const;
    Failure asListed(Failure failure) const;

    /// So many commands are given to the engine before their answers are awaited.
    static constexpr int kAtATime = 20;

    const Arguments m_arguments;
    Engine &m_engine;
    Printer &m_printer;
    Questions *const m_questions;
    StandardOutput &m_output;
    std::unique_ptr<StreamWriter> m_writer; ///< of the download that is streamed now
    QList<DownloadRequest> m_requests;
    std::unique_ptr<RequestFeed> m_input; ///< null = none of them come through standard input
    QList<qint64> m_ids; ///< of the list, to be resumed
    qsizetype m_nextRequest = 0;
    qsizetype m_nextId = 0;
    int m_unanswered = 0; ///< commands that were given to the engine
    QSet<qint64> m_asked; ///< all that were asked for
    QSet<qint64> m_doubtful; ///< those of the list that a process has which may have died, until they are ours
    QSet<qint64> m_expected; ///< those that have not ended, or are not written to the end
    QList<qint64> m_order; ///< those of them that have begun
    QHash<qint64, Snapshot> m_rows; ///< of those
    QHash<qint64, qint64> m_least; ///< bytes that each had at its emptiest
    QTimer m_progressTimer;
    AfterCommands m_after;
    qint64 m_refused = 0; ///< counts down: numbers for what never got one
    int m_wellEnded = 0;
    Overview m_ended; ///< its counts alone
    bool m_isListKnown = true; ///< m_ids is complete
    bool m_isInputEnded = true; ///< m_requests is
    bool m_stopping = false;
    bool m_isOutputGone = false; ///< what is streamed cannot be written
    bool m_isClosed = false; ///< the engine
    ExitStatus m_status = ExitStatus::Done;
};
