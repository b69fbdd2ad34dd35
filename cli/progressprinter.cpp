// SPDX-License-Identifier: MIT
#include <cli/progressprinter.h>

#include <cli/progressbars.h>
#include <cli/progressline.h>
#include <host/policy/shown.h>

#include <QTextStream>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

constexpr int kLineWidth = 200;
constexpr double kSecondMs = 1000;

}

ProgressPrinter::ProgressPrinter(QTextStream &answers, QTextStream &notes, const ProgressOptions &options)
    : m_answers(answers)
    , m_notes(notes)
    , m_options(options)
    , m_start(m_options.clock())
    , m_screen(notes, options.terminalFile)
    , m_events(answers, options.clock)
{
}

ProgressPrinter::~ProgressPrinter()
{
    m_screen.show({});
}

void ProgressPrinter::begin(qint64 id, const QUrl &)
{
    ++m_begun;
    m_lastLine.insert(id, m_options.clock());
}

void ProgressPrinter::progress(const Overview &overview)
{
    const qint64 now = m_options.clock();
    take(overview, now);
    if (m_options.mode == ProgressMode::Json)
        m_events.tell(overview);
    if (m_options.quiet)
        return;
    if (m_options.mode == ProgressMode::Line)
        printDueLines(now);
    else if (hasLiveLines() && (!m_drawn || now - m_lastRedraw >= kRedrawIntervalMs))
        redraw(now);
}

void ProgressPrinter::warn(qint64, const QString &text)
{
    note(text);
}

void ProgressPrinter::queried(qint64, const QueryResult &result)
{
    const QString size = result.size < 0
        ? u"unknown"_s
        : u"%1 bytes (%2)"_s.arg(QString::number(result.size), ProgressLine::size(result.size));
    // Both streams may end at the same terminal.
    m_screen.show({});
    m_answers << "Name: " << Shown::text(result.name) << '\n'
              << "Size: " << size << '\n'
              << "Type: " << (result.type.isEmpty() ? u"unknown"_s : Shown::text(result.type)) << '\n'
              << "Resume: " << ProgressLine::resume(result.resume) << '\n'
              << "URL: " << Shown::text(result.url.toString(QUrl::FullyEncoded | QUrl::RemoveUserInfo)) << '\n'
              << Qt::flush;
    m_screen.show(liveLines());
}

void ProgressPrinter::planned(qint64, const FetchPlan &plan)
{
    m_screen.show({});
    m_answers << Shown::text(plan.text()) << '\n' << Qt::flush;
    m_screen.show(liveLines());
}

void ProgressPrinter::end(qint64 id, const Summary &summary)
{
    forget(id, summary);
    m_tally.add(summary);
    tellEnd(summary);
}

void ProgressPrinter::tellEnd(const Summary &summary)
{
    if (!summary.errorText.isEmpty() && !isToldByTheTally(summary))
        print(u"plait: "_s + summary.errorText);
    else if (summary.errorText.isEmpty() && !m_options.quiet && !summary.path.isEmpty())
        print(ClosingWords::ofOne(summary, page()));
    else if (hasLiveLines())
        redraw(m_options.clock());
}

/// What is no error, or is said of all of them in one line.
bool ProgressPrinter::isToldByTheTally(const Summary &summary) const
{
    return (m_options.quiet && summary.status == ExitStatus::Done) || (summary.isStopped && m_begun > 1);
}

void ProgressPrinter::leave(qsizetype count)
{
    m_tally.unbegun += count;
    note(ProgressLine::unbegun(count, m_tally.areListed));
}

void ProgressPrinter::note(const QString &text)
{
    if (!m_options.quiet)
        print(u"plait: "_s + text);
}

void ProgressPrinter::finish()
{
    if (m_tally.isOfMany() && !m_options.quiet)
        print(ClosingWords::ofAll(m_tally, double(m_options.clock() - m_start) / kSecondMs, page()));
}

void ProgressPrinter::trace(const QString &text)
{
    print(text);
}

void ProgressPrinter::setTyping(bool typing)
{
    m_typing = typing;
    redraw(m_options.clock());
}

ClosingWords::Page ProgressPrinter::page() const
{
    const bool isTerminal = m_options.terminalFile >= 0;
    // Some terminals wrap as soon as the last column is written.
    return {isTerminal ? m_screen.size().columns - 1 : 0, m_options.folder, m_options.look.unicode};
}

/// Means are taken of everything that is measured, shown or not.
void ProgressPrinter::take(const Overview &overview, qint64 now)
{
    m_overview = overview;
    for (DownloadView &view : m_overview.running) {
        SmoothedSpeed &speed = m_speeds[view.id];
        speed.add(now, view.status.speed);
        view.status.speed = speed.value();
    }
    m_overallSpeed.add(now, overview.speed);
    m_overview.speed = m_overallSpeed.value();
}

/// Its line must not come back before the next news of the others.
void ProgressPrinter::forget(qint64 id, const Summary &summary)
{
    m_speeds.remove(id);
    m_lastLine.remove(id);
    m_events.forget(id);
    const auto isIt = [id](const DownloadView &view) { return view.id == id; };
    if (m_overview.running.removeIf(isIt) > 0)
        ++Tally::placeIn(m_overview, summary);
}

bool ProgressPrinter::hasLiveLines() const
{
    return m_options.mode == ProgressMode::Bar && !m_options.quiet && !m_typing;
}

QStringList ProgressPrinter::liveLines() const
{
    return hasLiveLines() ? ProgressBars::lines(m_overview, m_screen.size(), m_options.look) : QStringList();
}

void ProgressPrinter::redraw(qint64 now)
{
    m_screen.show(liveLines());
    m_lastRedraw = now;
    m_drawn = true;
}

void ProgressPrinter::printDueLines(qint64 now)
{
    for (const DownloadView &view : std::as_const(m_overview.running)) {
        if (!m_lastLine.contains(view.id))
            m_lastLine.insert(view.id, now);
        const qint64 interval = ProgressLine::isLongWait(view.status) ? kWaitIntervalMs : kLineIntervalMs;
        if (now - m_lastLine.value(view.id) < interval)
            continue;
        m_lastLine.insert(view.id, now);
        print(ProgressLine::line(view, kLineWidth));
    }
}

void ProgressPrinter::print(const QString &text)
{
    print(QStringList{text});
}

/// The live lines move down, with the newest state in them: a message needs them drawn anew in any case.
void ProgressPrinter::print(const QStringList &lines)
{
    QStringList visible;
    for (const QString &line : lines)
        visible.append(Shown::text(line));
    m_screen.print(visible.join(u'\n'), liveLines());
    m_lastRedraw = m_options.clock();
    m_drawn = true;
}
