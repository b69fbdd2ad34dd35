// SPDX-License-Identifier: MIT
#pragma once

#include <cli/arguments.h>
#include <cli/runner.h>
#include <cli/summary.h>
#include <host/engine/downloadqueue.h>

#include <QHash>
#include <QSet>
#include <QTimer>

class DownloadSession;
class Printer;
class Questions;

/// Downloads what the command line asks for: new URLs, or downloads of the list.
///
///     begin() ──> all are put into the list and the queue, a few at a time ──> the queue is empty ──> session closed
///     ──> done()
///                                       └──────────── stop() ────────────────────────┘
class DownloadsRunner : public Runner
{
    Q_OBJECT

public:
    /// @param session open; outlives this object, as the others do @param questions null = nobody is there to answer
    DownloadsRunner(const Arguments &arguments, DownloadSession &session, Printer &printer, Questions *questions,
                    QObject *parent = nullptr);

    void begin() override;
    void stop() override;

private:
    void feed();
    void addNext();
    void warnOfMissingHeaders(qint64 id);
    void append(qint64 id);
    void onBegan(qint64 id, const QUrl &url);
    void onProgress();
    void onFileExists(qint64 id, int fileIndex, const QList<QString> &paths);
    void onDecision(qint64 id, const QString &question);
    void onEnded(const DownloadOutcome &outcome);
    void onNeverBegan(qsizetype count);
    void onDrained();
    void refuse(const QUrl &url, const Failure &failure);
    void count(ExitStatus status);
    QUrl urlOf(qint64 id);
    Summary summaryOf(const DownloadOutcome &outcome);

    const Arguments m_arguments;
    DownloadSession &m_session;
    Printer &m_printer;
    Questions *const m_questions;
    DownloadQueue m_queue;
    DownloadQueue::Job m_job = DownloadQueue::Job::Download;
    QList<qint64> m_ids; ///< of the list, to be appended
    qsizetype m_nextRequest = 0;
    qsizetype m_nextId = 0;
    QSet<qint64> m_appended;
    QHash<qint64, QUrl> m_urls; ///< of those that have begun
    QTimer m_progressTimer;
    qint64 m_refused = 0; ///< counts down: numbers for what never got one
    qsizetype m_unbegun = 0; ///< that were stopped before they began
    int m_done = 0;
    int m_failed = 0;
    bool m_stopping = false;
    ExitStatus m_status = ExitStatus::Done;
};
