// SPDX-License-Identifier: MIT
#pragma once

#include <cli/clock.h>
#include <cli/printer.h>
#include <cli/progressevents.h>
#include <cli/tally.h>

class QJsonObject;
class QTextStream;

/// Tells programs how downloads go: one JSON object a line, as docs/json.md says. Errors and remarks are told to
/// people, too.
class JsonPrinter : public Printer
{
public:
    /// Both streams outlive this object.
    JsonPrinter(QTextStream &events, QTextStream &notes, Clock clock = steadyClock());

    void begin(qint64 id, const QUrl &url) override;
    void progress(const Overview &overview) override;
    void warn(qint64 id, const QString &text) override;
    void queried(qint64 id, const QueryResult &result) override;
    void planned(qint64 id, const FetchPlan &plan) override;
    void end(qint64 id, const Summary &summary) override;
    void leave(qsizetype count) override;
    void note(const QString &text) override;
    void finish() override;
    void trace(const QString &text) override;

private:
    void print(const QString &event, QJsonObject object);
    void tell(const QString &text);

    QTextStream &m_events;
    QTextStream &m_notes;
    const Clock m_clock;
    const qint64 m_start; ///< of the clock
    ProgressEvents m_progress;
    Tally m_tally;
};
