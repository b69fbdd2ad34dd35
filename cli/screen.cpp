// SPDX-License-Identifier: MIT
#include <cli/screen.h>

#include <QTextStream>

#include <atomic>

#include <sys/ioctl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace
{

const QString kEraseRest = u"\u001b[K"_s; ///< of a line
const QString kEraseBelow = u"\r\u001b[J"_s;
// A terminal that becomes narrower at this very moment must not wrap: the way back up would be too short.
const QString kWrapOff = u"\u001b[?7l"_s;
const QString kWrapOn = u"\u001b[?7h"_s;

// The terminal that has live lines; -1 = none. A signal handler may touch nothing else.
std::atomic<int> s_liveFile = -1;
static_assert(std::atomic<int>::is_always_lock_free);

QString upBy(qsizetype rows)
{
    return rows > 0 ? u"\u001b[%1A"_s.arg(rows) : QString();
}

}

Screen::Screen(QTextStream &out, int file)
    : m_out(out)
    , m_file(file)
{
}

Screen::Size Screen::size() const
{
    Size size;
    winsize known = {};
    if (ioctl(m_file, TIOCGWINSZ, &known) != 0)
        return size;
    if (known.ws_col > 0)
        size.columns = known.ws_col;
    if (known.ws_row > 0)
        size.rows = known.ws_row;
    return size;
}

void Screen::show(const QStringList &lines)
{
    const Size now = size();
    if (!canOverwrite(lines, now))
        put({}, lines);
    else if (lines != m_lines)
        write(kWrapOff + lines.join(kEraseRest + u"\r\n"_s) + kEraseRest + upBy(lines.size() - 1) + u'\r' + kWrapOn,
              true);
    m_lines = lines;
}

/// Where the terminal has another size, lines that stand may have been wrapped anew.
bool Screen::canOverwrite(const QStringList &lines, Size size) const
{
    return !m_lines.isEmpty() && m_lines.size() == lines.size() && m_shownAt == size;
}

void Screen::print(const QString &text, const QStringList &lines)
{
    put(text + u'\n', lines);
}

void Screen::put(const QString &before, const QStringList &lines)
{
    QString text = (m_lines.isEmpty() ? QString() : kEraseBelow) + before;
    if (!lines.isEmpty())
        text += kWrapOff + lines.join(u"\r\n"_s) + upBy(lines.size() - 1) + u'\r' + kWrapOn;
    m_lines = lines;
    m_shownAt = size();
    write(text, !lines.isEmpty());
}

/// In one piece, so that no half of it is ever seen.
void Screen::write(const QString &text, bool isLive)
{
    if (isLive)
        s_liveFile = m_file;
    if (!text.isEmpty())
        m_out << text << Qt::flush;
    if (!isLive)
        s_liveFile = -1;
}

void Screen::eraseAtOnce()
{
    constexpr char kCodes[] = "\r\033[J\033[?7h";
    const int file = s_liveFile;
    if (file < 0)
        return;
    [[maybe_unused]] const ssize_t written = ::write(file, kCodes, sizeof kCodes - 1);
}
