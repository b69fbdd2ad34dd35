// SPDX-License-Identifier: MIT
#include <cli/pages/completions.h>

#include <cli/habits.h>

using namespace Qt::StringLiterals;

Completions::Source Completions::valuesOf(const OptionRow &row)
{
    const QLatin1StringView value(row.valueName);
    if (row.type == OptionRow::Type::Choice)
        return Source::Words;
    if (value == "COMMAND"_L1)
        return Source::Programs;
    if (value == "DIR"_L1)
        return Source::Folders;
    return value == "FILE"_L1 ? Source::Files : Source::Nothing;
}

Completions::Source Completions::wordsOf(const CommandRow &command)
{
    const QLatin1StringView word(command.wordName ? command.wordName : "");
    if (word == "ID"_L1)
        return Source::Downloads;
    if (word == "TOPIC"_L1)
        return Source::Topics;
    return word == "FILE"_L1 ? Source::Files : Source::Nothing;
}

QStringList Completions::topics()
{
    QStringList topics = CommandTable::names() + QStringList{u"options"_s};
    const QList<const Habits::Tool *> tools = Habits::tools();
    for (const Habits::Tool *tool : tools)
        topics.append(tool->name);
    return topics;
}

QStringList Completions::commandsWith(const OptionRow &row)
{
    QStringList commands;
    for (const CommandRow &command : CommandTable::rows()) {
        if (command.takes(row))
            commands.append(QString::fromLatin1(command.name));
    }
    return commands;
}
