// SPDX-License-Identifier: MIT
#pragma once

#include <cli/closingwords.h>
#include <cli/printer.h>
#include <cli/progressevents.h>
#include <cli/progressoptions.h>
#include <cli/screen.h>
#include <cli/smoothedspeed.h>
#include <cli/tally.h>

#include <QHash>

class QTextStream;

/// Tells people how downloads go: on a terminal in live lines below the messages, elsewhere in a plain line for each
/// download now and then. Messages and last lines are printed at once.
class ProgressPrinter : public Printer
{
public:
    static constexpr qint64 kRedrawIntervalMs = 100; ///< between redraws that nothing but progress asks for
    static constexpr qint64 kLineIntervalMs = 5000; ///< between two lines of one download
    static constexpr qint64 kWaitIntervalMs = 3600 * 1000; ///< while it waits for its hour; a night has many lines

    /// @param answers what was asked for @param notes everything else; both outlive this object
    ProgressPrinter(QTextStream &answers, QTextStream &notes, const ProgressOptions &options);
    /// Takes the live lines away.
    ~ProgressPrinter() override;

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
    void setTyping(bool typing) override;

private:
    void tellEnd(const Summary &summary);
    bool isToldByTheTally(const Summary &summary) const;
    ClosingWords::Page page() const;
    void take(const Overview &overview, qint64 now);
    void forget(qint64 id, const Summary &summary);
    bool hasLiveLines() const;
    QStringList liveLines() const;
    void redraw(qint64 now);
    void printDueLines(qint64 now);
    void print(const QString &text);
    void print(const QStringList &lines);

    QTextStream &m_answers;
    QTextStream &m_notes;
    const ProgressOptions m_options;
    const qint64 m_start; ///< of the clock
    Screen m_screen;
    ProgressEvents m_events;
    Tally m_tally;
    int m_begun = 0;
    Overview m_overview; ///< the newest, with smoothed speeds
    QHash<qint64, SmoothedSpeed> m_speeds;
    SmoothedSpeed m_overallSpeed;
    QHash<qint64, qint64> m_lastLine; ///< when each download was told of in a line, or began
    qint64 m_lastRedraw = 0;
    bool m_typing = false; ///< live lines are away
    bool m_drawn = false; ///< m_lastRedraw means something
};
