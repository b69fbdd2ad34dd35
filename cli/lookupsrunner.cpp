// SPDX-License-Identifier: MIT
#include <cli/lookupsrunner.h>

#include <cli/failurenames.h>
#include <cli/failurewords.h>
#include <cli/headersnote.h>
#include <cli/nextcommand.h>
#include <cli/printer.h>

using namespace Qt::StringLiterals;

LookupsRunner::LookupsRunner(const Arguments &arguments, Engine &engine, Printer &printer, QObject *parent)
    : Runner(parent)
    , m_arguments(arguments)
    , m_engine(engine)
    , m_printer(printer)
{
    connect(&m_engine, &Engine::warned, this, &LookupsRunner::onWarned);
    connect(&m_engine, &Engine::closed, this, [this] { finish(m_status); });
}

qsizetype LookupsRunner::count() const
{
    return m_arguments.command == Arguments::Command::Check ? m_arguments.ids.size() : m_arguments.requests.size();
}

void LookupsRunner::begin()
{
    for (const QString &complaint : m_arguments.badLines)
        refuse(complaint);
    next();
}

/// It is no address that could be asked.
void LookupsRunner::refuse(const QString &complaint)
{
    Summary summary;
    summary.status = ExitStatus::BadOption;
    summary.errorText = complaint;
    m_status = summary.status;
    m_printer.begin(--m_queries, {});
    m_printer.end(m_queries, summary);
}

void LookupsRunner::stop()
{
    m_stopping = true;
    if (m_status == ExitStatus::Done)
        m_status = ExitStatus::Unfinished;
    m_engine.close();
}

void LookupsRunner::next()
{
    ++m_index;
    if (m_stopping)
        return;
    if (m_index == count()) {
        m_engine.close();
        return;
    }
    m_clock.start();
    if (m_arguments.command == Arguments::Command::Check)
        lookAt(m_arguments.ids.at(m_index));
    else if (m_arguments.command == Arguments::Command::SetUrl)
        setUrl();
    else if (m_arguments.command == Arguments::Command::Plan)
        plan();
    else
        query();
}

void LookupsRunner::begin(qint64 id, const QUrl &url)
{
    m_id = id;
    m_url = url;
    m_printer.begin(id, url);
}

void LookupsRunner::query()
{
    const DownloadRequest &request = m_arguments.requests.at(m_index);
    begin(--m_queries, request.url.adjusted(QUrl::RemoveUserInfo));
    m_engine.query(request, [this](const EngineAnswer &answer) { onQueried(answer); });
}

void LookupsRunner::onQueried(const EngineAnswer &answer)
{
    if (answer.found)
        m_printer.queried(m_id, *answer.found);
    end(answer.failure, answer.error);
}

void LookupsRunner::plan()
{
    DownloadRequest request = m_arguments.requests.at(m_index);
    request.isToAsk = m_arguments.isToAsk;
    begin(--m_queries, request.url.adjusted(QUrl::RemoveUserInfo));
    m_engine.plan(request, [this](const EngineAnswer &answer) { onPlanned(answer); });
}

void LookupsRunner::onPlanned(const EngineAnswer &answer)
{
    if (answer.isOk())
        m_printer.planned(m_id,
                          FetchPlan::of(m_arguments.requests.at(m_index), answer, m_arguments.isToAsk,
                                        m_arguments.session.usage.maximumConnections));
    end(answer.failure, answer.error);
}

void LookupsRunner::setUrl()
{
    const DownloadRequest &request = m_arguments.requests.at(m_index);
    begin(--m_queries, request.url.adjusted(QUrl::RemoveUserInfo));
    m_engine.setUrl(m_arguments.ids.first(), request, false, [this](const EngineAnswer &answer) { onUrlSet(answer); });
}

void LookupsRunner::onUrlSet(const EngineAnswer &answer)
{
    const qint64 id = m_arguments.ids.first();
    if (answer.isOk())
        m_printer.note(u"download %1 goes on from its new address with \"%2\""_s.arg(
            QString::number(id), NextCommand::line(u"resume %1"_s.arg(id))));
    const bool isOther = answer.failure.kind == Failure::Kind::ResourceChanged && !answer.error;
    if (isOther)
        end(ExitStatus::ResourceChanged,
            u"cannot change download %1: %2. --force gives it the address all the same."_s.arg(
                QString::number(id), FailureNames::cause(answer.failure)),
            {});
    else
        end(answer.failure, answer.error);
}

void LookupsRunner::lookAt(qint64 id)
{
    m_id = id;
    m_engine.snapshot(id, [this](const EngineAnswer &answer) { check(answer); });
}

void LookupsRunner::check(const EngineAnswer &known)
{
    begin(m_id, known.isOk() ? known.snapshots.first().url : QUrl());
    if (known.isOk())
        m_engine.check(m_id, m_arguments.changes, [this](const EngineAnswer &answer) { onChecked(answer); });
    else
        end(known.failure);
}

void LookupsRunner::onChecked(const EngineAnswer &answer)
{
    // Whoever stopped it is not told that it was stopped.
    if (m_stopping)
        return;
    if (answer.isOk())
        m_printer.note((answer.warnings.isEmpty()
                            ? u"download %1: the server has the same file"_s
                            : u"download %1: the server has a file of the same size, and says no more of it"_s)
                           .arg(m_id));
    if (answer.failure.kind == Failure::Kind::ResourceChanged)
        end(ExitStatus::ResourceChanged,
            u"download %1: the server has another file by now. \"%2\" fetches it."_s.arg(
                QString::number(m_id), NextCommand::line(u"restart %1"_s.arg(m_id))),
            {});
    else
        end(answer.failure, answer.error);
}

void LookupsRunner::onWarned(qint64 id, const Warning &warning)
{
    if (warning.kind == Warning::Kind::HeadersMissing)
        m_printer.warn(id, HeadersNote::missing(id, warning.headers));
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
