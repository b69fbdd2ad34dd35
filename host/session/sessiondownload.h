// SPDX-License-Identifier: MIT
#pragma once

#include <host/session/downloadstatus.h>
#include <inet/qt/download/framework/abstractdownload.h>

#include <QList>
#include <QObject>
#include <QString>
#include <QTimer>

class DownloadList;

/// One download while a session runs it: keeps the list in step with it and tells when its run is over.
///
///     run() ──> running ── running(false) ──> saved ──> finished()
///
/// Owns the download. The record is saved at once when it changed significantly, else at most every kSaveIntervalMs,
/// and always at the end.
class SessionDownload : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(SessionDownload)

public:
    static constexpr int kSaveIntervalMs = 1000;

    /// @param download ready to run; becomes a child @param list null = the record is not kept
    SessionDownload(AbstractDownload *download, DownloadList *list, QObject *parent);
    ~SessionDownload() override;

    qint64 id() const;
    AbstractDownload *download() const { return m_download; }
    AbstractDownloadPersistentInfo info() const;
    DownloadStatus status() const;
    /// Lines of the newest answer.
    QList<QString> responseHeaders() const { return m_responseHeaders; }

    /// Once. Always answered by finished(), never from inside the call.
    void run(AbstractDownloadCommand command);
    void stop();

Q_SIGNALS:
    void saveFailed(const QString &errorText);
    void finished();

private:
    void onChanged(bool significantly);
    void onRunning(bool isRunning);
    void onResponseHeaders(qint64 sectionId, const QList<QString> &headers);
    void save();
    void end();

    AbstractDownload *const m_download;
    DownloadList *const m_list;
    QTimer m_saveTimer;
    QList<QString> m_responseHeaders;
    bool m_ended = false;
};
