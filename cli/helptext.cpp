// SPDX-License-Identifier: MIT
#include <cli/helptext.h>

#include <cli/commandoptions.h>
#include <cli/habits.h>
#include <cli/nearest.h>

#include <QRegularExpression>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

constexpr qsizetype kWidth = 80;
constexpr qsizetype kCommandWidth = 11;
constexpr qsizetype kOptionWidth = 27;
constexpr qsizetype kHabitWidth = 34;

const QString kOptions = u"options"_s;
const QString kIndent = u"  "_s;

/// Lines of no more than the width; a word that is longer has one for itself.
QStringList wrapped(const QString &text, qsizetype width)
{
    QStringList lines{QString()};
    const QStringList words = text.split(u' ');
    for (const QString &word : words) {
        QString &line = lines.last();
        if (line.isEmpty())
            line = word;
        else if (line.size() + 1 + word.size() <= width)
            line += u' ' + word;
        else
            lines.append(word);
    }
    return lines;
}

/// A name, and what it is beside it; below it where the name is long.
QString entry(const QString &name, const QString &text, qsizetype column)
{
    const QString nextLine = u'\n' + QString(column, u' ');
    const QString words = wrapped(text, kWidth - column).join(nextLine);
    const QString line = kIndent + name;
    if (line.size() < column)
        return line.leftJustified(column) + words + u'\n';
    const bool fits = line.size() <= kWidth;
    const QString names = fits ? line : kIndent + wrapped(name, kWidth - kIndent.size()).join(u'\n' + kIndent);
    return names + nextLine + words + u'\n';
}

QString nameOf(const OptionRow &row)
{
    const QString letter = row.letter ? u"-%1, "_s.arg(QLatin1Char(row.letter)) : u"    "_s;
    const QString value = *row.valueName ? u' ' + QLatin1StringView(row.valueName) : QString();
    return letter + u"--"_s + QLatin1StringView(row.name) + value;
}

QString choicesOf(const OptionRow &row)
{
    return *row.choices ? u": "_s + QString::fromLatin1(row.choices).replace(u' ', u", "_s) : QString();
}

QString entryOf(const OptionRow &row)
{
    return entry(nameOf(row), QString::fromUtf8(row.help) + choicesOf(row), kOptionWidth);
}

QString usageOf(const CommandRow &command)
{
    return u"Usage: plait "_s + QString::fromUtf8(command.usage) + u"\n"_s + QString::fromUtf8(command.help) + u'\n';
}

QString examplesOf(const CommandRow &command)
{
    const QStringList examples = QString::fromUtf8(command.examples).split(u'\n', Qt::SkipEmptyParts);
    QString text = examples.isEmpty() ? QString() : u"\nExamples:\n"_s;
    for (const QString &example : examples)
        text += kIndent + example + u'\n';
    return text;
}

/// Those of a command that its page has, in the order of that page.
QString frequentOptions(const CommandRow &command)
{
    const QStringList names = QString::fromLatin1(command.frequent).split(u' ', Qt::SkipEmptyParts);
    QString text = names.isEmpty() ? QString() : u"\n"_s;
    for (const QString &name : names)
        text += entryOf(*CommandOptions::table().find(name));
    return text;
}

QString ofTool(const Habits::Tool &tool)
{
    const QString about =
        u"What you know from %1, and what it is here. A letter that several programs have for several "
        "things is asked about, or is the one of \"plait help options\"."_s.arg(tool.name);
    QString text = wrapped(about, kWidth).join(u'\n') + u"\n\n"_s;
    for (const Habit &habit : tool.rows) {
        const QString value = habit.value ? u' ' + QLatin1StringView(habit.value) : QString();
        text += entry(QString::fromLatin1(habit.names).replace(u' ', u", "_s) + value,
                      Habits::advice(Habits::current(habit)), kHabitWidth);
    }
    return text;
}

/// Of Markdown, what people read.
QString plain(QString text)
{
    static const QRegularExpression link(u"\\[([^\\]]*)\\]\\([^)]*\\)"_s);
    return text.replace(link, u"\\1"_s).remove(u'`');
}

/// With dashes or without, by its name or its letter; null = there is none.
const OptionRow *optionOf(const QString &topic)
{
    const OptionTable &table = CommandOptions::table();
    if (topic.startsWith("--"_L1))
        return table.find(topic.sliced(2));
    if (!topic.startsWith(u'-'))
        return table.find(topic);
    const QList<const OptionRow *> &rows = table.rows();
    const auto found = std::find_if(rows.cbegin(), rows.cend(), [&topic](const OptionRow *row) {
        return row->letter && topic == u'-' + QString(QLatin1Char(row->letter));
    });
    return found == rows.cend() ? nullptr : *found;
}

QString ofOption(const OptionRow &row)
{
    QStringList commands;
    for (const CommandRow &command : CommandTable::rows()) {
        if (command.takes(row))
            commands.append(QString::fromLatin1(command.name));
    }
    const QStringList others = row.names().sliced(1);
    const QString text = row.manual ? plain(QString::fromUtf8(row.manual)) : QString::fromUtf8(row.help);
    return entry(nameOf(row), text + (row.manual ? QString() : choicesOf(row)), kOptionWidth)
        + (others.isEmpty() ? QString() : entry(u"The same:"_s, u"--"_s + others.join(", --"_L1), kOptionWidth))
        + entry(u"Commands:"_s, commands.join(", "_L1), kOptionWidth);
}

/// What a name of other programs' is here; empty = nothing.
QString ofHabit(const QString &topic)
{
    QString text;
    const QList<Habits::Meaning> meanings = Habits::meanings(topic, Habits::tools());
    for (const Habits::Meaning &meaning : meanings)
        text += entry(u"%1 (%2)"_s.arg(topic, meaning.tools.join(", "_L1)), Habits::advice(meaning.habit), kHabitWidth);
    return text;
}

QString unknown(const QString &topic)
{
    QStringList topics = CommandTable::names() + QStringList{kOptions};
    const QList<const Habits::Tool *> tools = Habits::tools();
    for (const Habits::Tool *tool : tools)
        topics.append(tool->name);
    for (const OptionRow *row : CommandOptions::table().rows())
        topics += {QString::fromLatin1(row->name), u"--"_s + QLatin1StringView(row->name)};
    const QString nearest = Nearest::of(topic, topics);
    return u"there is no help about \"%1\". %2"_s.arg(topic.left(30),
                                                      nearest.isEmpty()
                                                          ? u"Run \"plait help\" to see what there is."_s
                                                          : u"Did you mean \"plait help %1\"?"_s.arg(nearest));
}

}

QString HelpText::ofProgram()
{
    QString text = u"plait downloads over HTTP, HTTPS and FTP, and goes on where it was interrupted.\n\n"
                   "Usage: plait URL…        plait COMMAND …\n\n"_s;
    for (const CommandRow &command : CommandTable::rows())
        text += entry(QString::fromLatin1(command.name), QString::fromUtf8(command.help), kCommandWidth + 2);
    return text
        + u"\nExample: plait -d ~/Downloads https://example.com/file.iso\n"
          "More: plait help COMMAND, plait help options, plait help curl (or wget, aria2)\n"_s;
}

QString HelpText::ofCommand(const CommandRow &command)
{
    const QString name = QString::fromLatin1(command.name);
    const QString more =
        command.options().isEmpty() ? QString() : u"\nAll options: plait help options %1\n"_s.arg(name);
    return usageOf(command) + frequentOptions(command) + examplesOf(command) + more;
}

QString HelpText::ofOptions(const CommandRow &command)
{
    QString text = usageOf(command) + u'\n';
    const QList<const OptionRow *> rows = command.options();
    for (const OptionRow *row : rows)
        text += entryOf(*row);
    return text + entry(u"-h, --help"_s, u"Print what is needed most, and end"_s, kOptionWidth);
}

QString HelpText::about(const QStringList &topics, QString *problem)
{
    const QString topic = topics.value(0);
    const QString second = topics.value(1);
    const bool isOptions = topic == kOptions || second == kOptions;
    const QString name = topic != kOptions ? topic : second.isEmpty() ? u"get"_s : second;
    const CommandRow *const command = CommandTable::find(name);
    const Habits::Tool *const tool = Habits::find(topic);
    if (topic.isEmpty())
        return ofProgram();
    if (command)
        return isOptions ? ofOptions(*command) : ofCommand(*command);
    if (tool)
        return ofTool(*tool);
    if (const OptionRow *option = optionOf(topic))
        return ofOption(*option);
    if (const QString habit = ofHabit(topic); !habit.isEmpty())
        return habit;
    *problem = unknown(name);
    return {};
}
