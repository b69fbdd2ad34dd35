// SPDX-License-Identifier: MIT
#include <host/session/sessiondownload.h>

#include <host/storage/downloadlist.h>
#include <inet/qt/download/framework/downloaddetails.h>

SessionDownload::SessionDownload(AbstractDownload *download, DownloadList *list, QObject *parent)
    : QObject(parent)
    , m_download(download)
    , m_list(list)
    , m_saveTimer(this)
{
    m_download->setParent(this);
    m_saveTimer.setSingleShot(true);
    m_saveTimer.setInterval(kSaveIntervalMs);
    connect(&m_saveTimer, &QTimer::timeout, this, &SessionDownload::save);
    connect(m_download, &AbstractDownload::changed, this, &SessionDownload::onChanged);
    connect(m_download, &AbstractDownload::running, this, &SessionDownload::onRunning);
    connect(m_download, &AbstractDownload::gotResponseHeaders, this, &SessionDownload::onResponseHeaders);
}

SessionDownload::~SessionDownload() = default;

qint64 SessionDownload::id() const
{
    return m_download->id();
}

AbstractDownloadPersistentInfo SessionDownload::info() const
{
    return m_download->info();
}

DownloadStatus SessionDownload::status() const
{
    const AbstractDownloadPersistentInfo record = info();
    const QMap<int, AbstractDownload::Progress> tasks = m_download->tasksProgress();
    DownloadStatus status;
    status.done = record.bytesDownloaded(false);
    status.total = record.files.isEmpty() ? -1 : record.files.first().size;
    status.speed = m_download->speed(NetworkTrafficDirection::Download, true);
    status.connections = unitedEntry(m_download->connectionsMap()).count;
    status.allocated = tasks.value(AllocatingFileTask, {-1, -1}).first;
    if (!record.files.isEmpty()) {
        status.name = record.files.first().name;
        status.sections = record.files.first().sections;
    }
    status.fetching = m_download->details().value<DownloadDetails>().fetching;
    return status;
}

void SessionDownload::run(AbstractDownloadCommand command)
{
    m_download->doCommand(command);
    // A command that has nothing to do begins no run, or one that is over by now.
    if (!m_download->isRunning())
        end();
}

void SessionDownload::stop()
{
    m_download->doCommand(AbstractDownloadCommand::Stop);
}

void SessionDownload::onChanged(bool significantly)
{
    if (significantly)
        save();
    else if (!m_saveTimer.isActive())
        m_saveTimer.start();
}

void SessionDownload::onRunning(bool isRunning)
{
    if (!isRunning)
        end();
}

void SessionDownload::onResponseHeaders(qint64, const QList<QString> &headers)
{
    m_responseHeaders = headers;
}

void SessionDownload::save()
{
    m_saveTimer.stop();
    if (m_list && !m_list->update(info()))
        Q_EMIT saveFailed(m_list->lastErrorText());
}

void SessionDownload::end()
{
    if (m_ended)
        return;
    m_ended = true;
    save();
    // The download is still inside its own signal.
    QMetaObject::invokeMethod(this, &SessionDownload::finished, Qt::QueuedConnection);
}
