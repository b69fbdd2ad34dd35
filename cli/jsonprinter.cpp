// SPDX-License-Identifier: MIT
#include <cli/jsonprinter.h>

#include <cli/filewords.h>
#include <cli/jsonline.h>
#include <cli/progressline.h>
#include <host/policy/shown.h>

#include <QJsonObject>
#include <QTextStream>

#include <utility>

using namespace Qt::StringLiterals;

namespace
{

constexpr double kSecondMs = 1000;

/// A name and a password in it are nobody's business.
QString shown(const QUrl &url)
{
    return url.toString(QUrl::FullyEncoded | QUrl::RemoveUserInfo);
}

}

JsonPrinter::JsonPrinter(QTextStream &events, QTextStream &notes, Clock clock)
    : m_events(events)
    , m_notes(notes)
    , m_clock(std::move(clock))
    , m_start(m_clock())
    , m_progress(events, m_clock)
{
}

void JsonPrinter::begin(qint64 id, const QUrl &url)
{
    print(u"begin"_s, {{u"id"_s, id}, {u"url"_s, shown(url)}});
}

void JsonPrinter::progress(const Overview &overview)
{
    m_progress.tell(overview);
}

void JsonPrinter::warn(qint64 id, const QString &text)
{
    tell(text);
    print(u"warning"_s, {{u"id"_s, id}, {u"text"_s, text}});
}

void JsonPrinter::queried(qint64 id, const QueryResult &result)
{
    print(u"query"_s,
          {{u"id"_s, id},
           {u"name"_s, result.name},
           {u"size"_s, result.size},
           {u"type"_s, result.type},
           {u"resume"_s, ProgressLine::resume(result.resume)},
           {u"url"_s, shown(result.url)}});
}

void JsonPrinter::planned(qint64 id, const FetchPlan &plan)
{
    QJsonObject object = plan.object();
    object.insert(u"id"_s, id);
    print(u"plan"_s, object);
}

void JsonPrinter::end(qint64 id, const Summary &summary)
{
    m_progress.forget(id);
    m_tally.add(summary);
    if (!summary.errorText.isEmpty())
        tell(summary.errorText);
    if (summary.isThere)
        print(u"skipped"_s,
              {{u"id"_s, id},
               {u"path"_s, summary.path},
               {u"bytes"_s, summary.bytes},
               {u"up_to_date"_s, summary.isUpToDate}});
    print(u"summary"_s,
          {{u"id"_s, id},
           {u"url"_s, shown(summary.url)},
           {u"name"_s, summary.name},
           {u"code"_s, summary.error.code},
           {u"category"_s, QString::fromStdString(summary.error.category)},
           {u"description"_s, QString::fromStdString(summary.error.description)},
           {u"path"_s, summary.path},
           {u"bytes"_s, summary.bytes},
           {u"fetched"_s, summary.fetched},
           {u"seconds"_s, summary.seconds},
           {u"connections"_s, summary.connections},
           {u"connections_bound"_s, summary.connectionsBound},
           {u"content_encoding"_s, summary.contentEncoding},
           {u"assurance"_s, summary.assurance.key()},
           {u"assurance_reason"_s, FileWords::ofDoubt(summary.assurance.doubt)},
           {u"error"_s, summary.errorText},
           {u"status"_s, int(summary.status)}});
}

void JsonPrinter::leave(qsizetype count)
{
    m_tally.unbegun += count;
    tell(ProgressLine::unbegun(count));
    print(u"unbegun"_s, {{u"count"_s, qint64(count)}});
}

void JsonPrinter::note(const QString &text)
{
    tell(text);
    print(u"note"_s, {{u"text"_s, text}});
}

/// Of one alone its summary says everything.
void JsonPrinter::finish()
{
    if (!m_tally.isOfMany())
        return;
    print(u"tally"_s,
          {{u"done"_s, m_tally.done},
           {u"failed"_s, m_tally.failed.size()},
           {u"skipped"_s, m_tally.skipped},
           {u"stopped"_s, m_tally.stopped.size()},
           {u"unbegun"_s, m_tally.unbegun},
           {u"bytes"_s, m_tally.bytes},
           {u"fetched"_s, m_tally.fetched},
           {u"seconds"_s, double(m_clock() - m_start) / kSecondMs}});
}

void JsonPrinter::trace(const QString &text)
{
    m_notes << Shown::text(text) << '\n' << Qt::flush;
}

void JsonPrinter::print(const QString &event, QJsonObject object)
{
    object.insert(u"event"_s, event);
    m_events << JsonLine::of(object) << Qt::flush;
}

void JsonPrinter::tell(const QString &text)
{
    m_notes << "plait: " << Shown::text(text) << '\n' << Qt::flush;
}
