// SPDX-License-Identifier: MIT
#include <cli/progressprinter.h>

#include <cli/progressbars.h>
#include <cli/progressline.h>
#include <host/policy/shown.h>

#include <QDir>
#include <QTextStream>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

constexpr int kLineWidth = 200;

QString savedLine(const Summary &summary)
{
    const QString what = summary.isStreamed ? u"Wrote \"%1\" to standard output"_s.arg(summary.name)
                                            : u"Saved \"%1\""_s.arg(QDir::toNativeSeparators(summary.path));
    QString line =
        u"%1: %2 in %3 s"_s.arg(what, ProgressLine::size(summary.bytes), QString::number(summary.seconds, 'f', 1));
    if (!summary.connectionsNote.isEmpty())
        line += ", "_L1 + summary.connectionsNote;
    if (!summary.encodingNote.isEmpty())
        line += "; "_L1 + summary.encodingNote;
    if (const QString note = summary.assurance.note(); !note.isEmpty())
        line += "; "_L1 + note;
    return line;
}

}

ProgressPrinter::ProgressPrinter(QTextStream &answers, QTextStream &notes, const ProgressOptions &options)
    : m_answers(answers)
    , m_notes(notes)
    , m_options(options)
    , m_screen(notes, options.terminalFile)
{
}

ProgressPrinter::~ProgressPrinter()
{
    m_screen.show({});
}

void ProgressPrinter::begin(qint64 id, const QUrl &)
{
    m_lastLine.insert(id, m_options.clock());
}

void ProgressPrinter::progress(const Overview &overview)
{
    const qint64 now = m_options.clock();
    take(overview, now);
    if (m_options.quiet)
        return;
    if (m_options.mode == ProgressMode::Line)
        printDueLines(now);
    else if (hasLiveLines() && (!m_drawn || now - m_lastRedraw >= kRedrawIntervalMs))
        redraw(now);
}

void ProgressPrinter::warn(qint64, const QString &text)
{
    print(u"plait: "_s + text);
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

void ProgressPrinter::end(qint64 id, const Summary &summary)
{
    forget(id, summary.status != ExitStatus::Done);
    if (!summary.errorText.isEmpty())
        print(u"plait: "_s + summary.errorText);
    else if (!m_options.quiet && !summary.path.isEmpty())
        print(savedLine(summary));
    else if (hasLiveLines())
        redraw(m_options.clock());
}

void ProgressPrinter::leave(qsizetype count)
{
    note(ProgressLine::unbegun(count));
}

void ProgressPrinter::note(const QString &text)
{
    if (!m_options.quiet)
        print(u"plait: "_s + text);
}

void ProgressPrinter::setTyping(bool typing)
{
    m_typing = typing;
    redraw(m_options.clock());
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
void ProgressPrinter::forget(qint64 id, bool failed)
{
    m_speeds.remove(id);
    m_lastLine.remove(id);
    const auto isIt = [id](const DownloadView &view) { return view.id == id; };
    if (m_overview.running.removeIf(isIt) > 0)
        ++(failed ? m_overview.failed : m_overview.done);
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
        if (now - m_lastLine.value(view.id) < kLineIntervalMs)
            continue;
        m_lastLine.insert(view.id, now);
        print(ProgressLine::line(view, kLineWidth));
    }
}

/// The live lines move down, with the newest state in them: a message needs them drawn anew in any case.
void ProgressPrinter::print(const QString &text)
{
    m_screen.print(Shown::text(text), liveLines());
    m_lastRedraw = m_options.clock();
    m_drawn = true;
}
