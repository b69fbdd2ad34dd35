// SPDX-License-Identifier: MIT
#pragma once

#include <cli/arguments.h>
#include <cli/summary.h>
#include <host/session/downloadsession.h>

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

class Printer;

/// Does what the command line asks for, one URL after the other, and ends with the session closed.
///
///     begin() ──> downloading ── finished() ──> the next ... ──> session closing ──> done()
///                     └──────── stop() ───────────────────────────────┘
class CommandRunner : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(CommandRunner)

public:
    /// @param session open; outlives this object, as the printer does
    CommandRunner(const Arguments &arguments, DownloadSession &session, Printer &printer, QObject *parent = nullptr);

    void begin();
    /// Stops in order what runs; what has not begun is left out.
    void stop();

Q_SIGNALS:
    /// @param status of the first download that failed
    void done(ExitStatus status);

private:
    void onProgress();
    void onQueried(qint64 id, const QueryResult &result);
    void onFinished(qint64 id, const AbstractDownloadPersistentInfo &info, const DownloadDetails &details);

    void next();
    bool startCurrent(QString *errorText);
    void endCurrent(const Summary &summary);
    Summary summaryOf(const AbstractDownloadPersistentInfo &info, const DownloadDetails &details) const;
    const DownloadRequest &current() const { return m_arguments.requests.at(m_index); }

    const Arguments m_arguments;
    DownloadSession &m_session;
    Printer &m_printer;
    QTimer m_progressTimer;
    QElapsedTimer m_clock;
    qsizetype m_index = -1;
    qint64 m_id = 0; ///< of the download that runs; 0 = none
    bool m_stopping = false;
    ExitStatus m_status = ExitStatus::Done;
};
