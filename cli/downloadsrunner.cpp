// SPDX-License-Identifier: MIT
#include <cli/downloadsrunner.h>

#include <cli/failurewords.h>
#include <cli/headersnote.h>
#include <cli/printer.h>
#include <cli/progressline.h>
#include <cli/questions.h>
#include <host/engine/downloadsession.h>
#include <host/policy/connectionsnote.h>
#include <host/policy/contentencoding.h>

#include <algorithm>
#include <limits>
#include <optional>

using namespace Qt::StringLiterals;

namespace
{

constexpr int kProgressIntervalMs = 200;
/// So many are put into the list between two looks at what else there is to do.
constexpr int kAtATime = 20;

DownloadQueue::Job jobOf(Arguments::Command command)
{
    switch (command) {
    case Arguments::Command::Restart:
        return DownloadQueue::Job::Restart;
    case Arguments::Command::Finish:
        return DownloadQueue::Job::FinishNow;
    default:
        return DownloadQueue::Job::Download;
    }
}

QueueOptions queueOptions(const Arguments &arguments, bool canAsk)
{
    QueueOptions options = arguments.queue;
    options.canAsk = canAsk;
    return options;
}

}

DownloadsRunner::DownloadsRunner(const Arguments &arguments, DownloadSession &session, Printer &printer,
                                 Questions *questions, QObject *parent)
    : Runner(parent)
    , m_arguments(arguments)
    , m_session(session)
    , m_printer(printer)
    , m_questions(questions)
    , m_queue(session, queueOptions(arguments, questions != nullptr))
    , m_job(jobOf(arguments.command))
    , m_ids(arguments.ids)
{
    m_progressTimer.setInterval(kProgressIntervalMs);
    connect(&m_progressTimer, &QTimer::timeout, this, &DownloadsRunner::onProgress);
    connect(&m_session, &DownloadSession::warned, this,
            [this](qint64 id, const Failure &what) { m_printer.warn(id, FailureWords::sentence(what)); });
    connect(&m_session, &DownloadSession::fileExistsActionRequired, this, &DownloadsRunner::onFileExists);
    connect(&m_session, &DownloadSession::closed, this, [this] { Q_EMIT done(m_status); });
    connect(&m_queue, &DownloadQueue::began, this, &DownloadsRunner::onBegan);
    if (m_job != DownloadQueue::Job::FinishNow)
        connect(&m_queue, &DownloadQueue::began, this, &DownloadsRunner::warnOfMissingHeaders);
    connect(&m_queue, &DownloadQueue::retrying, this,
            [this](qint64 id, qint64, const QString &notice) { m_printer.warn(id, notice); });
    connect(&m_queue, &DownloadQueue::decisionRequired, this,
            [this](qint64 id, Trouble::Kind, const QString &question) { onDecision(id, question); });
    connect(&m_queue, &DownloadQueue::ended, this, &DownloadsRunner::onEnded);
    connect(&m_queue, &DownloadQueue::neverBegan, this, &DownloadsRunner::onNeverBegan);
    connect(&m_queue, &DownloadQueue::drained, this, &DownloadsRunner::onDrained);
}

void DownloadsRunner::begin()
{
    if (m_arguments.all) {
        const QList<ListEntry> entries = m_session.list().page(ListFilter::Unfinished, std::numeric_limits<int>::max());
        for (const ListEntry &entry : entries) {
            if (entry.ownerPid == 0)
                m_ids.append(entry.id);
            else
                m_printer.note(
                    u"download %1 is left out: process %2 is at work on it"_s.arg(entry.id).arg(entry.ownerPid));
        }
        if (const Failure failure = m_session.listFailure(); !failure.detail.isEmpty())
            refuse({}, failure);
        else if (m_ids.isEmpty())
            m_printer.note(u"there is nothing unfinished"_s);
    }
    m_progressTimer.start();
    feed();
}

void DownloadsRunner::stop()
{
    m_stopping = true;
    m_queue.close();
}

/// A few at a time, so that the first downloads run while thousands are still to be put into the list.
void DownloadsRunner::feed()
{
    for (int i = 0; i < kAtATime && !m_stopping && m_nextRequest < m_arguments.requests.size(); ++i)
        addNext();
    for (; !m_stopping && m_nextId < m_ids.size(); ++m_nextId) {
        Failure failure;
        if (!m_session.renew(m_ids.at(m_nextId), m_arguments.changes, &failure))
            m_printer.warn(m_ids.at(m_nextId), FailureWords::sentence(failure));
        append(m_ids.at(m_nextId));
    }
    if (!m_stopping && m_nextRequest < m_arguments.requests.size())
        QMetaObject::invokeMethod(this, &DownloadsRunner::feed, Qt::QueuedConnection);
    else if (m_queue.isIdle())
        QMetaObject::invokeMethod(this, &DownloadsRunner::onDrained, Qt::QueuedConnection);
}

void DownloadsRunner::addNext()
{
    const DownloadRequest &request = m_arguments.requests.at(m_nextRequest++);
    Failure failure;
    const qint64 id = m_session.add(request, &failure);
    if (id != 0)
        append(id);
    else
        refuse(request.url, failure);
}

void DownloadsRunner::append(qint64 id)
{
    if (m_appended.contains(id)) {
        m_printer.note(u"the same download was asked for twice; it is download %1"_s.arg(id));
        return;
    }
    m_appended.insert(id);
    m_queue.append(id, m_job);
}

void DownloadsRunner::onBegan(qint64 id, const QUrl &url)
{
    m_urls.insert(id, url);
    m_printer.begin(id, url);
}

/// It goes on without them all the same: not every server asks twice.
void DownloadsRunner::warnOfMissingHeaders(qint64 id)
{
    const QString text = HeadersNote::missing(id, m_session.missingHeaders(id));
    const auto record = text.isEmpty() ? std::nullopt : m_session.record(id);
    // What is complete is only compared with its checksum.
    if (record && (m_job == DownloadQueue::Job::Restart || !record->isFinished()))
        m_printer.warn(id, text);
}

void DownloadsRunner::onProgress()
{
    Overview overview;
    overview.waiting = int(m_queue.waitingCount());
    overview.done = m_done;
    overview.failed = m_failed;
    overview.bytesTotal = 0;
    const QList<qint64> ids = m_queue.activeIds();
    for (const qint64 id : ids) {
        const DownloadStatus status = m_queue.status(id);
        overview.running.append({id, urlOf(id), status});
        overview.bytesDone += status.done;
        overview.speed += status.speed;
        const bool isKnown = overview.bytesTotal >= 0 && status.total >= 0;
        overview.bytesTotal = isKnown ? overview.bytesTotal + status.total : -1;
    }
    m_printer.progress(overview);
}

void DownloadsRunner::onFileExists(qint64 id, int fileIndex, const QList<QString> &paths)
{
    using Action = AbstractDownloadFileExistsAction;
    if (!m_questions) {
        m_queue.answerFileExists(id, fileIndex, Action::Skip);
        return;
    }
    const QString question =
        u"\"%1\" exists already. Save under another name, overwrite it, or skip the download?"_s.arg(paths.value(0));
    m_questions->ask(id, question, {u"rename"_s, u"overwrite"_s, u"skip"_s}, [this, id, fileIndex](int answer) {
        constexpr Action kActions[] = {Action::Rename, Action::Overwrite, Action::Skip};
        m_queue.answerFileExists(id, fileIndex, kActions[std::clamp(answer, 0, 2)]);
    });
}

void DownloadsRunner::onDecision(qint64 id, const QString &question)
{
    m_questions->ask(id, question, {u"no"_s, u"yes"_s}, [this, id](int answer) { m_queue.decide(id, answer == 1); });
}

void DownloadsRunner::onEnded(const DownloadOutcome &outcome)
{
    const Summary summary = summaryOf(outcome);
    m_printer.end(outcome.id, summary);
    count(summary.status);
    m_urls.remove(outcome.id);
    if (m_questions)
        m_questions->withdraw(outcome.id);
}

void DownloadsRunner::onNeverBegan(qsizetype count)
{
    m_unbegun += count;
}

void DownloadsRunner::onDrained()
{
    const bool isAllFed = m_stopping || (m_nextRequest == m_arguments.requests.size() && m_nextId == m_ids.size());
    if (!isAllFed || !m_queue.isIdle())
        return;
    m_progressTimer.stop();
    if (m_stopping)
        m_unbegun += m_arguments.requests.size() - m_nextRequest + m_ids.size() - m_nextId;
    if (m_unbegun > 0)
        m_printer.leave(m_unbegun);
    // What was stopped before it began is as unfinished as what was stopped in the middle.
    if (m_stopping && m_done < m_arguments.requests.size() + m_ids.size())
        m_status = ExitStatus::Unfinished;
    m_session.close();
}

void DownloadsRunner::refuse(const QUrl &url, const Failure &failure)
{
    Summary summary;
    summary.url = url;
    summary.status = exitStatusOf(failure);
    summary.errorText = FailureWords::sentence(failure);
    const qint64 id = --m_refused;
    m_printer.begin(id, url);
    m_printer.end(id, summary);
    count(summary.status);
}

void DownloadsRunner::count(ExitStatus status)
{
    if (status == ExitStatus::Done)
        ++m_done;
    else
        ++m_failed;
    if (m_status == ExitStatus::Done)
        m_status = status;
}

QUrl DownloadsRunner::urlOf(qint64 id)
{
    const auto known = m_urls.constFind(id);
    if (known != m_urls.constEnd())
        return *known;
    const std::optional<AbstractDownloadPersistentInfo> record = m_session.record(id);
    return *m_urls.insert(id, record ? record->url : QUrl());
}

Summary DownloadsRunner::summaryOf(const DownloadOutcome &outcome)
{
    const AbstractDownloadPersistentInfo &info = outcome.info;
    Summary summary;
    summary.url = urlOf(outcome.id);
    summary.error = info.lastError;
    summary.status = exitStatusOf(outcome.failure);
    summary.errorText = FailureWords::sentence(outcome.failure);
    if (!info.files.isEmpty()) {
        summary.name = info.files.first().name;
        if (info.files.first().isOnDisk())
            summary.path = info.filePath(0);
    }
    summary.bytes = info.bytesDownloaded(false);
    summary.seconds = outcome.seconds;
    summary.connections = outcome.details.mostConnections;
    const NetworkUsageSettings usage = m_session.usageOf(outcome.options);
    summary.connectionsNote = ConnectionsNote::forDownload(outcome.details, usage, m_session.usageOfAll());
    summary.connectionsBound = ConnectionsNote::keyOf(outcome.details.bound);
    summary.contentEncoding = outcome.contentEncoding;
    summary.assurance = outcome.assurance;
    if (!ContentEncoding::isAskedFor(info.parameters.value(u"headers"_s).toMap().keys()))
        summary.encodingNote = ContentEncoding::note(outcome.contentEncoding);
    return summary;
}
