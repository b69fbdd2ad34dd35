// SPDX-License-Identifier: MIT
#include <cli/pages/roff.h>

#include <QRegularExpression>
#include <QStringList>

using namespace Qt::StringLiterals;

namespace
{

const QString kFence = u"```"_s;

/// What a page shows otherwise than it is written.
struct Escape {
    QChar character;
    QStringView written;
};

constexpr Escape kEscapes[] = {
    {u'\\', u"\\e"}, {u'-', u"\\-"}, {u'\'', u"\\(aq"}, {u'`', u"\\(ga"}, {u'~', u"\\(ti"}, {u'^', u"\\(ha"},
};

QString escapedCharacter(QChar character)
{
    for (const Escape &escape : kEscapes) {
        if (escape.character == character)
            return escape.written.toString();
    }
    return character.unicode() < 0x7f ? QString(character)
                                      : u"\\[u%1]"_s.arg(QString::number(character.unicode(), 16).toUpper(), 4, u'0');
}

bool isTable(const QString &line)
{
    return line.startsWith(u'|');
}

bool isItem(const QString &line)
{
    return line.startsWith("- "_L1);
}

/// A line that does not go on with the paragraph before it.
bool isOfItsOwn(const QString &line)
{
    return line.isEmpty() || isTable(line) || isItem(line) || line.startsWith(u'#') || line.startsWith(kFence);
}

/// Reads from the lines up to one that is no part of it; a paragraph's are joined.
QString paragraph(const QStringList &lines, qsizetype &i)
{
    QStringList parts{lines.at(i++).trimmed()};
    while (i < lines.size() && !isOfItsOwn(lines.at(i)))
        parts.append(lines.at(i++).trimmed());
    return parts.join(u' ');
}

QString fenced(const QStringList &lines, qsizetype &i)
{
    QString text = u".PP\n.RS 4\n.nf\n"_s;
    for (++i; i < lines.size() && !lines.at(i).startsWith(kFence); ++i)
        text += Roff::escaped(lines.at(i)) + u'\n';
    ++i;
    return text + u".fi\n.RE\n"_s;
}

QStringList cellsOf(const QString &row)
{
    static const QRegularExpression border(u"(?<!\\\\)\\|"_s);
    QStringList cells = row.split(border).mid(1);
    cells.removeLast();
    for (QString &cell : cells)
        cell = cell.trimmed().replace("\\|"_L1, "|"_L1);
    return cells;
}

QString rowOf(const QStringList &cells, qsizetype names)
{
    QStringList told;
    for (const QString &cell : cells.sliced(names)) {
        if (!cell.isEmpty())
            told.append(Roff::line(cell));
    }
    return u".TP\n"_s + Roff::line(cells.first(names).join(u' ')) + u'\n' + told.join("\n.br\n"_L1) + u'\n';
}

QString table(const QStringList &lines, qsizetype &i)
{
    const qsizetype names = lines.at(i).startsWith("| command |"_L1) ? 2 : 1;
    QString text;
    for (i += 2; i < lines.size() && isTable(lines.at(i)); ++i)
        text += rowOf(cellsOf(lines.at(i)), names);
    return text;
}

QString block(const QStringList &lines, qsizetype &i)
{
    const QString &line = lines.at(i);
    if (line.startsWith(kFence))
        return fenced(lines, i);
    if (isTable(line))
        return table(lines, i);
    if (isItem(line))
        return u".IP \\(bu 2\n"_s + Roff::line(paragraph(lines, i).sliced(2)) + u'\n';
    if (line.startsWith(u'#'))
        return u".SS "_s + Roff::line(lines.at(i++).section(u' ', 1)) + u'\n';
    return u".PP\n"_s + Roff::line(paragraph(lines, i)) + u'\n';
}

}

QString Roff::escaped(const QString &text)
{
    QString result = text.startsWith(u'.') ? u"\\&"_s : QString();
    for (const QChar character : text)
        result += escapedCharacter(character);
    return result;
}

QString Roff::line(const QString &markdown)
{
    static const QRegularExpression link(u"\\[([^\\]]+)\\]\\([^)]+\\)"_s);
    static const QRegularExpression strong(u"`([^`]+)`|\\*\\*([^*]+)\\*\\*"_s);
    QString rest = markdown;
    rest.replace(link, u"\\1"_s);
    QString result;
    qsizetype from = 0;
    for (const QRegularExpressionMatch &match : strong.globalMatch(rest)) {
        result += escaped(rest.sliced(from, match.capturedStart() - from));
        result += u"\\fB"_s + escaped(match.captured(1) + match.captured(2)) + u"\\fP"_s;
        from = match.capturedEnd();
    }
    result += escaped(rest.sliced(from));
    return result.startsWith(u'.') ? u"\\&"_s + result : result;
}

QString Roff::blocks(const QString &markdown)
{
    const QStringList lines = markdown.split(u'\n');
    QString text;
    for (qsizetype i = 0; i < lines.size();) {
        if (lines.at(i).isEmpty())
            ++i;
        else
            text += block(lines, i);
    }
    return text;
}
