// SPDX-License-Identifier: MIT
#include <cli/lookupsrunner.h>

#include <cli/failurewords.h>
#include <cli/headersnote.h>
#include <cli/printer.h>

using namespace Qt::StringLiterals;

LookupsRunner::LookupsRunner(const Arguments &arguments, DownloadSession &session, Printer &printer, QObject *parent)
    : Runner(parent)
    , m_arguments(arguments)
    , m_session(session)
    , m_printer(printer)
    , m_check(session)
{
    connect(&m_session, &DownloadSession::queried, this, &LookupsRunner::onQueried);
    connect(&m_session, &DownloadSession::finished, this,
            [this](qint64 id, const AbstractDownloadPersistentInfo &info) { onFinished(id, info); });
    connect(&m_session, &DownloadSession::closed, this, [this] { Q_EMIT done(m_status); });
    connect(&m_check, &ResourceCheck::checked, this, &LookupsRunner::onChecked);
}

qsizetype LookupsRunner::count() const
{
    return m_arguments.command == Arguments::Command::Check ? m_arguments.ids.size() : m_arguments.requests.size();
}

void LookupsRunner::begin()
{
    next();
}

void LookupsRunner::stop()
{
    m_stopping = true;
    if (m_status == ExitStatus::Done)
        m_status = ExitStatus::Unfinished;
    m_check.stop();
    m_session.close();
}

void LookupsRunner::next()
{
    ++m_index;
    if (m_stopping)
        return;
    if (m_index == count()) {
        m_session.close();
        return;
    }
    m_clock.start();
    if (m_arguments.command == Arguments::Command::Check)
        check();
    else
        query();
}

void LookupsRunner::query()
{
    const DownloadRequest &request = m_arguments.requests.at(m_index);
    Failure failure;
    m_url = request.url.adjusted(QUrl::RemoveUserInfo);
    m_id = m_session.query(request, &failure);
    m_printer.begin(m_id, m_url);
    if (m_id == 0)
        end(failure);
}

void LookupsRunner::check()
{
    m_id = m_arguments.ids.at(m_index);
    std::optional<AbstractDownloadPersistentInfo> record = m_session.record(m_id);
    m_url = record ? record->url : QUrl();
    m_printer.begin(m_id, m_url);
    if (!record) {
        end(m_session.whyNoRecord(m_id));
        return;
    }
    OptionChanges given = m_arguments.changes;
    m_session.takeHeaders(*record, given);
    const QString missing = HeadersNote::missing(m_id, m_session.missingHeaders(m_id));
    if (!missing.isEmpty())
        m_printer.warn(m_id, missing);
    m_check.begin(*record);
}

void LookupsRunner::onQueried(qint64 id, const QueryResult &result)
{
    m_found = result;
    if (m_arguments.command == Arguments::Command::Query)
        m_printer.queried(id, result);
}

void LookupsRunner::onFinished(qint64 id, const AbstractDownloadPersistentInfo &info)
{
    if (id != m_id)
        return;
    if (!info.lastError && m_arguments.command == Arguments::Command::SetUrl) {
        mergeUrl();
        return;
    }
    end(info.lastError ? Failure::of(info.lastError, info) : Failure(), info.lastError);
}

/// An address of another file would only be found out later, and leave the download without one that works.
void LookupsRunner::mergeUrl()
{
    const qint64 id = m_arguments.ids.first();
    const std::optional<AbstractDownloadPersistentInfo> record = m_session.record(id);
    const qint64 size = record && !record->files.isEmpty() ? record->files.first().size : -1;
    if (size >= 0 && m_found.size >= 0 && size != m_found.size) {
        end(ExitStatus::ResourceChanged,
            u"cannot change download %1: the file there has %2 bytes, and the download is of one with %3. --force "
            u"gives "
            u"it the address all the same."_s.arg(QString::number(id), QString::number(m_found.size),
                                                  QString::number(size)),
            {});
        return;
    }
    Failure failure;
    if (!m_session.setUrl(id, m_arguments.requests.first(), &failure)) {
        end(failure);
        return;
    }
    m_printer.note(u"download %1 goes on from its new address with \"plait resume %1\""_s.arg(id));
    end(ExitStatus::Done, {}, {});
}

void LookupsRunner::onChecked(const ResourceCheck::Result &result)
{
    switch (result.finding) {
    case ResourceCheck::Finding::Same:
        m_printer.note(u"download %1: the server has the same file"_s.arg(m_id));
        end(ExitStatus::Done, {}, {});
        break;
    case ResourceCheck::Finding::Changed:
        end(ExitStatus::ResourceChanged,
            u"download %1: the server has another file by now. \"plait restart %1\" fetches it."_s.arg(m_id), {});
        break;
    case ResourceCheck::Finding::Unknown:
        end(result.failure, result.error);
        break;
    }
}

void LookupsRunner::end(const Failure &failure, const AbstractError &error)
{
    end(exitStatusOf(failure), FailureWords::sentence(failure), error);
}

void LookupsRunner::end(ExitStatus status, const QString &errorText, const AbstractError &error)
{
    Summary summary;
    summary.url = m_url;
    summary.status = status;
    summary.errorText = errorText;
    summary.error = error;
    summary.seconds = double(m_clock.elapsed()) / 1000;
    if (m_status == ExitStatus::Done)
        m_status = status;
    m_printer.end(m_id, summary);
    m_id = 0;
    QMetaObject::invokeMethod(this, &LookupsRunner::next, Qt::QueuedConnection);
}
