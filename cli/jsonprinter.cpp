// SPDX-License-Identifier: MIT
#include <cli/jsonprinter.h>

#include <cli/progressline.h>

#include <QJsonDocument>
#include <QJsonObject>
#include <QTextStream>

using namespace Qt::StringLiterals;

JsonPrinter::JsonPrinter(QTextStream &events, QTextStream &notes)
    : m_events(events)
    , m_notes(notes)
{
}

void JsonPrinter::begin(const QUrl &url)
{
    print(u"begin"_s, {{u"url"_s, url.toString(QUrl::FullyEncoded)}});
}

void JsonPrinter::progress(const QString &name, const DownloadStatus &status)
{
    print(u"progress"_s,
          {{u"name"_s, name},
           {u"done"_s, status.done},
           {u"total"_s, status.total},
           {u"speed"_s, status.speed},
           {u"connections"_s, status.connections}});
}

void JsonPrinter::warn(const QString &text)
{
    note(text);
    print(u"warning"_s, {{u"text"_s, text}});
}

void JsonPrinter::queried(const QueryResult &result)
{
    print(u"query"_s,
          {{u"name"_s, result.name},
           {u"size"_s, result.size},
           {u"type"_s, result.type},
           {u"resume"_s, ProgressLine::resume(result.resume)},
           {u"url"_s, result.url.toString(QUrl::FullyEncoded)}});
}

void JsonPrinter::end(const Summary &summary)
{
    if (!summary.errorText.isEmpty())
        note(summary.errorText);
    print(u"summary"_s,
          {{u"url"_s, summary.url.toString(QUrl::FullyEncoded)},
           {u"code"_s, summary.error.code},
           {u"category"_s, QString::fromStdString(summary.error.category)},
           {u"description"_s, QString::fromStdString(summary.error.description)},
           {u"path"_s, summary.path},
           {u"bytes"_s, summary.bytes},
           {u"seconds"_s, summary.seconds},
           {u"connections"_s, summary.connections},
           {u"connections_bound"_s, summary.connectionsBound},
           {u"status"_s, int(summary.status)}});
}

void JsonPrinter::print(const QString &event, QJsonObject object)
{
    object.insert(u"event"_s, event);
    m_events << QJsonDocument(object).toJson(QJsonDocument::Compact) << '\n' << Qt::flush;
}

void JsonPrinter::note(const QString &text)
{
    m_notes << "plait: " << ProgressLine::printable(text) << '\n' << Qt::flush;
}
