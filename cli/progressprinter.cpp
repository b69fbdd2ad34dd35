// SPDX-License-Identifier: MIT
#include <cli/progressprinter.h>

#include <cli/progressline.h>

#include <QDir>
#include <QTextStream>

#include <sys/ioctl.h>

using namespace Qt::StringLiterals;

namespace
{

constexpr int kWidthElsewhere = 200;
constexpr int kNarrowest = 20;
constexpr qint64 kFirstUnsizedStep = qint64(1024) * 1024;

}

ProgressPrinter::ProgressPrinter(QTextStream &answers, QTextStream &notes, int terminalFile, bool quiet)
    : m_answers(answers)
    , m_notes(notes)
    , m_terminalFile(terminalFile)
    , m_quiet(quiet)
{
}

void ProgressPrinter::begin(const QUrl &)
{
    m_lastTenth = 0;
    m_lastUnsized = 0;
}

void ProgressPrinter::progress(const QString &name, const DownloadStatus &status)
{
    if (m_quiet)
        return;
    const QString line = ProgressLine::line(name, status, width());
    if (m_terminalFile >= 0)
        redraw(line);
    else if (isStep(status))
        note(line);
}

void ProgressPrinter::warn(const QString &text)
{
    note(u"plait: "_s + text);
}

void ProgressPrinter::queried(const QueryResult &result)
{
    clearLine();
    const QString size = result.size < 0
        ? u"unknown"_s
        : u"%1 bytes (%2)"_s.arg(QString::number(result.size), ProgressLine::size(result.size));
    m_answers << "Name: " << ProgressLine::printable(result.name) << '\n'
              << "Size: " << size << '\n'
              << "Type: " << (result.type.isEmpty() ? u"unknown"_s : ProgressLine::printable(result.type)) << '\n'
              << "Resume: " << ProgressLine::resume(result.resume) << '\n'
              << "URL: " << result.url.toString(QUrl::FullyEncoded) << '\n'
              << Qt::flush;
}

void ProgressPrinter::end(const Summary &summary)
{
    clearLine();
    if (!summary.errorText.isEmpty()) {
        note(u"plait: "_s + summary.errorText);
    } else if (!m_quiet && !summary.path.isEmpty()) {
        const QString saved = u"Saved \"%1\": %2 in %3 s"_s.arg(QDir::toNativeSeparators(summary.path),
                                                                ProgressLine::size(summary.bytes),
                                                                QString::number(summary.seconds, 'f', 1));
        note(summary.connectionsNote.isEmpty() ? saved : saved + ", "_L1 + summary.connectionsNote);
    }
}

int ProgressPrinter::width() const
{
    winsize size = {};
    if (m_terminalFile < 0 || ioctl(m_terminalFile, TIOCGWINSZ, &size) != 0)
        return kWidthElsewhere;
    // The last column stays free: some terminals wrap as soon as it is written.
    return std::max(kNarrowest, int(size.ws_col) - 1);
}

/// Every tenth of the size; twice as much as the last time, where the size is unknown.
bool ProgressPrinter::isStep(const DownloadStatus &status)
{
    if (status.total < 0) {
        if (status.done < std::max(kFirstUnsizedStep, 2 * m_lastUnsized))
            return false;
        m_lastUnsized = status.done;
        return true;
    }
    const int tenth = ProgressLine::percent(status) / 10;
    if (tenth <= m_lastTenth)
        return false;
    m_lastTenth = tenth;
    return true;
}

void ProgressPrinter::redraw(const QString &line)
{
    m_notes << "\r\033[K" << line << Qt::flush;
    m_lineStands = true;
}

void ProgressPrinter::clearLine()
{
    if (m_lineStands)
        m_notes << "\r\033[K" << Qt::flush;
    m_lineStands = false;
}

void ProgressPrinter::note(const QString &text)
{
    clearLine();
    m_notes << ProgressLine::printable(text) << '\n' << Qt::flush;
}
