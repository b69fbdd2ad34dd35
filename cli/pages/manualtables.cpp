// SPDX-License-Identifier: MIT
#include <cli/pages/manualtables.h>

#include <cli/commandoptions.h>
#include <cli/commandtable.h>
#include <cli/habits.h>

#include <QRegularExpression>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

using Part = ManualTables::Part;
using Rows = QList<const OptionRow *>;

constexpr int kUsageWidth = 26;
const QString kHelpRow = u"| `-h`, `--help` | print the options and end |\n"_s;
const QString kHead = u"| option | meaning |\n|---|---|\n"_s;
const QString kSingleHead = u"| command | option | meaning |\n|---|---|---|\n"_s;

/// A heading of the manual, and the groups of options below it. Commands that have all of them are named there.
struct Section {
    QStringView title;
    const char *groups;
};

constexpr Section kSections[] = {
    {u"What is asked for", "input headers sending body"},
    {u"Where it goes, and where else it lies", "place naming"},
    {u"How it runs", "run"},
    {u"How the network is reached", "network"},
};

QStringList wordsOf(const char *words)
{
    return QString::fromLatin1(words).split(u' ', Qt::SkipEmptyParts);
}

Rows rowsOf(const QString &group)
{
    Rows rows = CommandOptions::table().rows();
    rows.removeIf([&group](const OptionRow *row) { return group != QLatin1StringView(row->group); });
    return rows;
}

/// Printing settings and another program's line take options of all kinds, and need no name in each heading.
bool isOfHeadings(const CommandRow &command)
{
    return command.command != Command::Config && command.command != Command::Import;
}

bool hasAll(const CommandRow &command, const QStringList &groups)
{
    const QStringList own = wordsOf(command.groups);
    return std::all_of(groups.cbegin(), groups.cend(), [&own](const QString &group) { return own.contains(group); });
}

QString namesOf(const OptionRow &row)
{
    const QString letter = row.letter ? u"`-%1`, "_s.arg(QLatin1Char(row.letter)) : QString();
    const QString value = *row.valueName ? u' ' + QLatin1StringView(row.valueName) : QString();
    return letter + u"`--%1%2`"_s.arg(QLatin1StringView(row.name), value);
}

QString meaningOf(const OptionRow &row)
{
    QString text = QString::fromUtf8(row.manual ? row.manual : row.help);
    text[0] = text.at(0).toLower();
    const QStringList others = row.names().mid(1);
    if (others.isEmpty())
        return text;
    return text + u"; `--%1` %2 the same"_s.arg(others.join("`, `--"_L1), others.size() > 1 ? u"are"_s : u"is"_s);
}

QString lineOf(const OptionRow &row)
{
    return u"| %1 | %2 |\n"_s.arg(namesOf(row), meaningOf(row));
}

Part commandsPart()
{
    QString text;
    for (const CommandRow &command : CommandTable::rows())
        text += (u"plait "_s + QString::fromUtf8(command.usage)).leftJustified(kUsageWidth)
            + QString::fromUtf8(command.manual) + u'\n';
    return {u"## Commands"_s, u"```"_s, u"```\n"_s + text + u"```\n"_s};
}

Part programPart()
{
    QString text = kHead;
    for (const OptionRow *row : rowsOf(u"program"_s))
        text += lineOf(*row);
    return {u"## Options"_s, u"| option | meaning |"_s, text + kHelpRow};
}

Part sectionPart(const Section &section)
{
    const QStringList groups = wordsOf(section.groups);
    QStringList commands;
    for (const CommandRow &command : CommandTable::rows()) {
        if (isOfHeadings(command) && hasAll(command, groups))
            commands.append(QString::fromLatin1(command.name));
    }
    QString text = kHead;
    for (const QString &group : groups) {
        for (const OptionRow *row : rowsOf(group))
            text += lineOf(*row);
    }
    return {u"### %1: %2"_s.arg(section.title, commands.join(", "_L1)), u"| option | meaning |"_s, text};
}

/// Commands that have options of a section's, but not all: they are named once more, with these.
QString sharedLines(const Section &section)
{
    const QStringList all = wordsOf(section.groups);
    QString lines;
    for (const QString &group : all) {
        QStringList commands;
        for (const CommandRow &command : CommandTable::rows()) {
            if (isOfHeadings(command) && hasAll(command, {group}) && !hasAll(command, all))
                commands.append(QString::fromLatin1(command.name));
        }
        QStringList names;
        for (const OptionRow *row : rowsOf(group))
            names.append(namesOf(*row));
        if (!commands.isEmpty())
            lines +=
                u"| %1 | %2 | as above, for these downloads |\n"_s.arg(commands.join(", "_L1), names.join(", "_L1));
    }
    return lines;
}

bool isOfASection(const QString &group)
{
    return group == "program"_L1
        || std::any_of(std::begin(kSections), std::end(kSections),
                       [&group](const Section &section) { return wordsOf(section.groups).contains(group); });
}

Part singlePart()
{
    QString text = kSingleHead;
    for (const CommandRow &command : CommandTable::rows()) {
        for (const OptionRow *row : command.options()) {
            if (isOfHeadings(command) && !isOfASection(QString::fromLatin1(row->group)))
                text += u"| %1 "_s.arg(QLatin1StringView(command.name)) + lineOf(*row);
        }
    }
    for (const Section &section : kSections)
        text += sharedLines(section);
    return {u"### Of single commands"_s, u"| command | option | meaning |"_s, text};
}

/// Names of what is an option, but no setting.
Part otherPart()
{
    QStringList names;
    for (const OptionRow *row : CommandOptions::table().rows()) {
        if (!row->places.testFlag(OptionRow::SettingsFile))
            names.append(u"`%1`"_s.arg(QLatin1StringView(row->name)));
    }
    return {u"## Settings file"_s, u"No settings are"_s, u"No settings are "_s + names.join(", "_L1) + u".\n"_s};
}

/// A letter that is ours, where another program has it for something else.
QString otherwiseHere(const QString &name, const Habit &habit)
{
    const Rows rows = CommandTable::unnamed().options();
    const auto own = std::find_if(rows.cbegin(), rows.cend(), [&name](const OptionRow *row) {
        return row->letter && name == u'-' + QString(QLatin1Char(row->letter));
    });
    const bool isOther = own != rows.cend() && qstrcmp((*own)->name, habit.own) != 0;
    return isOther ? u" (`%1` is `--%2` here)"_s.arg(name, QLatin1StringView((*own)->name)) : QString();
}

QString lineOf(const Habit &habit)
{
    static const QRegularExpression quoted(u"\"([^\"]+)\""_s);
    QStringList names;
    QString remarks;
    for (const QString &name : wordsOf(habit.names)) {
        names.append(u'`' + name + u'`');
        remarks += otherwiseHere(name, habit);
    }
    const QString own = u"--"_s + QLatin1StringView(habit.own);
    const bool isSame = habit.kind == Habit::Kind::Same && wordsOf(habit.names).contains(own);
    const QString here = isSame ? u"the same"_s : Habits::advice(habit).replace(quoted, u"`\\1`"_s);
    const QString value = habit.value ? u" `%1`"_s.arg(QLatin1StringView(habit.value)) : QString();
    return u"| %1%2 | %3%4 |\n"_s.arg(names.join(", "_L1), value, Habits::advice(habit).replace(quoted, u"`\\1`"_s),
                                      remarks);
}

Part toolPart(const Habits::Tool &tool)
{
    QString text = u"| there | here |\n|---|---|\n"_s;
    for (const Habit &habit : tool.rows)
        text += lineOf(Habits::current(habit));
    return {u"### From "_s + tool.name, u"| there | here |"_s, text};
}

/// What is drawn ends with its fence, or before the next blank line.
qsizetype endOf(const QString &manual, qsizetype begin, const Part &part)
{
    if (part.opening == "```"_L1)
        return manual.indexOf("\n```\n"_L1, begin) + 5;
    return manual.indexOf("\n\n"_L1, begin) + 1;
}

}

QList<Part> ManualTables::parts()
{
    QList<Part> parts{commandsPart(), programPart()};
    for (const Section &section : kSections)
        parts.append(sectionPart(section));
    parts.append(singlePart());
    for (const Habits::Tool *tool : Habits::tools())
        parts.append(toolPart(*tool));
    parts.append(otherPart());
    return parts;
}

QString ManualTables::drawnInto(const QString &manual, QString *missing)
{
    QString drawn = manual;
    for (const Part &part : parts()) {
        const qsizetype heading = drawn.indexOf(u'\n' + part.heading + u'\n');
        const qsizetype begin = heading < 0 ? -1 : drawn.indexOf(u'\n' + part.opening, heading) + 1;
        if (begin <= 0) {
            *missing = part.heading;
            return {};
        }
        drawn.replace(begin, endOf(drawn, begin, part) - begin, part.text);
    }
    return drawn;
}
