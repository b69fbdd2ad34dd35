// SPDX-License-Identifier: MIT
#pragma once

#include <cli/printer.h>

class QJsonObject;
class QTextStream;

/// Tells programs how downloads go: one JSON object a line, each with an "event": "begin", "progress", "warning",
/// "query" or, last for each download, "summary". Errors are told to people, too.
class JsonPrinter : public Printer
{
public:
    JsonPrinter(QTextStream &events, QTextStream &notes);

    void begin(const QUrl &url) override;
    void progress(const QString &name, const DownloadStatus &status) override;
    void warn(const QString &text) override;
    void queried(const QueryResult &result) override;
    void end(const Summary &summary) override;

private:
    void print(const QString &event, QJsonObject object);
    void note(const QString &text);

    QTextStream &m_events;
    QTextStream &m_notes;
};
