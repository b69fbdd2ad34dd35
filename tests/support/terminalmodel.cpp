// SPDX-License-Identifier: MIT
#include <tests/support/terminalmodel.h>

#include <algorithm>
#include <cwchar>

using namespace Qt::StringLiterals;

namespace
{

constexpr char32_t kEscape = 0x1b;

QString trimmedEnd(QString text)
{
    while (text.endsWith(u' '))
        text.chop(1);
    return text;
}

}

TerminalModel::TerminalModel(int columns, int rows, OnResize onResize)
    : m_onResize(onResize)
    , m_columns(columns)
    , m_height(rows)
{
}

void TerminalModel::feed(const QByteArray &bytes)
{
    const QString text = m_decoder(bytes);
    const QList<uint> characters = text.toUcs4();
    for (const uint c : characters)
        take(c);
}

void TerminalModel::resize(int columns, int rows)
{
    if (m_onResize == OnResize::WrapAnew)
        wrapAnew(columns);
    else
        cutOff(columns);
    m_columns = columns;
    m_height = rows;
    m_column = std::min(m_column, columns - 1);
    m_top = std::max<qsizetype>(0, m_row - rows + 1);
    m_resized = true;
}

QStringList TerminalModel::lines() const
{
    QStringList result;
    for (const Row &row : m_rows)
        result.append(trimmedEnd(textOf(row.cells)));
    while (!result.isEmpty() && result.last().isEmpty())
        result.removeLast();
    return result;
}

QStringList TerminalModel::wholeLines() const
{
    QStringList result;
    QString whole;
    for (const Row &row : m_rows) {
        whole += textOf(row.cells);
        if (row.wrapped)
            continue;
        result.append(trimmedEnd(whole));
        whole.clear();
    }
    while (!result.isEmpty() && result.last().isEmpty())
        result.removeLast();
    return result;
}

void TerminalModel::take(char32_t c)
{
    if (!m_code.isEmpty() || c == kEscape)
        takeCode(c);
    else if (c == U'\r')
        m_column = 0;
    else if (c == U'\n')
        lineFeed();
    else
        takeText(c);
}

void TerminalModel::takeText(char32_t c)
{
    const QString text = QString::fromUcs4(&c, 1);
    const int width = wcwidth(wchar_t(c));
    if (width == 0 && m_column > 0) {
        current().cells[m_column - 1] += text;
        return;
    }
    if (width < 0) {
        m_unknown.append(text);
        return;
    }
    if (m_column + width > m_columns) {
        if (!m_wraps) {
            m_lost += m_resized ? 0 : 1;
            return;
        }
        current().wrapped = true;
        lineFeed();
        m_column = 0;
    }
    QStringList &cells = current().cells;
    while (cells.size() < m_column + width)
        cells.append(u" "_s);
    cells[m_column] = text;
    if (width == 2)
        cells[m_column + 1].clear();
    m_column += width;
}

void TerminalModel::takeCode(char32_t c)
{
    m_code += QString::fromUcs4(&c, 1);
    const bool begins = m_code.size() == 1 || (m_code.size() == 2 && c == U'[');
    const bool isParameter = m_code.size() > 2 && c >= 0x20 && c <= 0x3f;
    if (begins || isParameter)
        return;
    obey(m_code.mid(2).chopped(m_code.size() > 2 ? 1 : 0), m_code.back());
    m_code.clear();
}

void TerminalModel::obey(const QString &parameters, QChar command)
{
    if (command == u'm') {
        ++m_colours;
    } else if (command == u'A') {
        moveUp(parameters.isEmpty() ? 1 : parameters.toInt());
    } else if (command == u'J' && parameters.isEmpty()) {
        eraseBelow();
    } else if (command == u'K' && parameters.isEmpty()) {
        current().cells.resize(std::min<qsizetype>(m_column, current().cells.size()));
    } else if (parameters == "?7"_L1 && (command == u'l' || command == u'h')) {
        m_wraps = command == u'h';
        if (m_wraps)
            m_frames.append(lines());
    } else {
        m_unknown.append(m_code.mid(1));
    }
}

void TerminalModel::lineFeed()
{
    ++m_row;
    if (m_row == m_rows.size())
        m_rows.append(Row{});
    m_top = std::max(m_top, m_row - m_height + 1);
}

void TerminalModel::moveUp(int rows)
{
    m_row = std::max(m_top, m_row - rows);
}

void TerminalModel::eraseBelow()
{
    m_rows.resize(m_row + 1);
    current().cells.resize(std::min<qsizetype>(m_column, current().cells.size()));
    current().wrapped = false;
    m_resized = false;
}

TerminalModel::Row &TerminalModel::current()
{
    return m_rows[m_row];
}

void TerminalModel::wrapAnew(int columns)
{
    QList<Row> rows;
    qsizetype cursorRow = 0;
    int cursorColumn = 0;
    QStringList whole;
    qsizetype cursor = -1; // place in the whole line
    for (qsizetype i = 0; i < m_rows.size(); ++i) {
        if (i == m_row)
            cursor = whole.size() + m_column;
        whole += m_rows.at(i).cells;
        if (m_rows.at(i).wrapped)
            continue;
        const qsizetype first = rows.size();
        for (qsizetype begin = 0; begin == 0 || begin < whole.size(); begin += columns)
            rows.append({whole.mid(begin, columns), begin + columns < whole.size()});
        if (cursor >= 0) {
            cursorRow = std::min(first + cursor / columns, rows.size() - 1);
            cursorColumn = int(cursor % columns);
        }
        cursor = -1;
        whole.clear();
    }
    m_rows = rows;
    m_row = cursorRow;
    m_column = cursorColumn;
}

void TerminalModel::cutOff(int columns)
{
    for (Row &row : m_rows) {
        row.cells.resize(std::min<qsizetype>(columns, row.cells.size()));
        row.wrapped = false;
    }
}

QString TerminalModel::textOf(const QStringList &cells)
{
    return cells.join(QString());
}
