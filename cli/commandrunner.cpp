// SPDX-License-Identifier: MIT
#include <cli/commandrunner.h>

#include <cli/printer.h>
#include <host/policy/connectionsnote.h>
#include <host/policy/errormessages.h>

namespace
{

constexpr int kProgressIntervalMs = 500;
constexpr double kMillisecondsPerSecond = 1000;

}

CommandRunner::CommandRunner(const Arguments &arguments, DownloadSession &session, Printer &printer, QObject *parent)
    : QObject(parent)
    , m_arguments(arguments)
    , m_session(session)
    , m_printer(printer)
{
    m_progressTimer.setInterval(kProgressIntervalMs);
    connect(&m_progressTimer, &QTimer::timeout, this, &CommandRunner::onProgress);
    connect(&m_session, &DownloadSession::progressChanged, this, &CommandRunner::onProgress);
    connect(&m_session, &DownloadSession::gotResponseHeaders, this, &CommandRunner::onProgress);
    connect(&m_session, &DownloadSession::warned, this, [this](qint64, const QString &text) { m_printer.warn(text); });
    connect(&m_session, &DownloadSession::queried, this, &CommandRunner::onQueried);
    connect(&m_session, &DownloadSession::finished, this, &CommandRunner::onFinished);
    connect(&m_session, &DownloadSession::closed, this, [this] { Q_EMIT done(m_status); });
}

void CommandRunner::begin()
{
    next();
}

void CommandRunner::stop()
{
    m_stopping = true;
    if (m_id != 0)
        m_session.stop(m_id);
}

void CommandRunner::onProgress()
{
    if (m_id == 0)
        return;
    const DownloadStatus status = m_session.status(m_id);
    if (m_arguments.query)
        return;
    const AbstractDownloadPersistentInfo info = m_session.info(m_id);
    m_printer.progress(info.files.isEmpty() ? QString() : info.files.first().name, status);
}

void CommandRunner::onQueried(qint64, const QueryResult &result)
{
    m_printer.queried(result);
}

void CommandRunner::onFinished(qint64 id, const AbstractDownloadPersistentInfo &info, const DownloadDetails &details)
{
    if (id == m_id)
        endCurrent(summaryOf(info, details));
}

void CommandRunner::next()
{
    ++m_index;
    if (m_stopping || m_index == m_arguments.requests.size()) {
        m_session.close();
        return;
    }
    m_clock.start();
    m_printer.begin(current().url);
    Summary failure;
    if (!startCurrent(&failure.errorText)) {
        failure.url = current().url;
        failure.status = m_session.supports(current().url) ? ExitStatus::Unknown : ExitStatus::BadOption;
        endCurrent(failure);
    }
}

bool CommandRunner::startCurrent(QString *errorText)
{
    m_progressTimer.start();
    if (m_arguments.query) {
        m_id = m_session.query(current(), errorText);
        return m_id != 0;
    }
    m_id = m_session.add(current(), errorText);
    return m_id != 0 && m_session.start(m_id, errorText);
}

void CommandRunner::endCurrent(const Summary &summary)
{
    m_progressTimer.stop();
    m_id = 0;
    if (m_status == ExitStatus::Done)
        m_status = summary.status;
    m_printer.end(summary);
    next();
}

Summary CommandRunner::summaryOf(const AbstractDownloadPersistentInfo &info, const DownloadDetails &details) const
{
    Summary summary;
    summary.url = current().url;
    summary.error = info.lastError;
    const bool succeeded = !info.lastError && (m_arguments.query || info.isFinished());
    summary.status = succeeded ? ExitStatus::Done : exitStatusOf(info.lastError, info);
    if (!succeeded)
        summary.errorText = ErrorMessages::forDownload(info.lastError, info);
    if (!info.files.isEmpty() && info.files.first().isOnDisk())
        summary.path = info.filePath(0);
    summary.bytes = info.bytesDownloaded(false);
    summary.seconds = double(m_clock.elapsed()) / kMillisecondsPerSecond;
    summary.connections = details.mostConnections;
    summary.connectionsNote = ConnectionsNote::forDownload(details, m_arguments.usage);
    summary.connectionsBound = ConnectionsNote::keyOf(details.bound);
    return summary;
}
