// SPDX-License-Identifier: MIT
#include <cli/pages/completions.h>

#include <cli/habits.h>

using namespace Qt::StringLiterals;

Completions::Source Completions::valuesOf(const OptionRow &row)
{
    using Type = OptionRow::Type;
    switch (row.type) {
    case Type::Choice:
        return Source::Words;
    case Type::Program:
        return Source::Programs;
    case Type::Folder:
        return Source::Folders;
    case Type::Path:
    case Type::ExistingFile:
    case Type::FileName:
    case Type::FileOrUrl:
        return Source::Files;
    default:
        return Source::Nothing;
    }
}

Completions::Source Completions::wordsOf(const CommandRow &command)
{
    const QLatin1StringView word(command.wordName ? command.wordName : "");
    if (word == "ID"_L1)
        return Source::Downloads;
    return word == "TOPIC"_L1 ? Source::Topics : Source::Nothing;
}

QStringList Completions::beginningsOfLines()
{
    QStringList beginnings{u"--"_s};
    const QList<const Habits::Tool *> tools = Habits::tools();
    for (const Habits::Tool *tool : tools)
        beginnings.append(tool->name);
    return beginnings << u"aria2c"_s;
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
