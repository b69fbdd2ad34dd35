// SPDX-License-Identifier: MIT
#include <cli/commandline.h>

#include <cli/address.h>
#include <cli/commandoptions.h>
#include <cli/habits.h>
#include <cli/nearest.h>
#include <cli/optionparser.h>
#include <cli/settingsfile.h>
#include <host/options/optionvalue.h>

#include <QRegularExpression>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

using Outcome = CommandLine::Outcome;

const QString kTyped = u"the command line"_s;

Outcome complaint(const QString &text)
{
    Outcome outcome;
    outcome.text = text;
    return outcome;
}

/// Words of the program itself stand where a command would.
bool beginsWithCommand(const QStringList &words)
{
    const QString first = words.value(0);
    return CommandTable::find(first) || first == "--help"_L1 || first == "-h"_L1 || first == "--version"_L1;
}

/// A command among the addresses, which is none of them.
QString lateCommand(const QStringList &words)
{
    const auto found = std::find_if(words.cbegin(), words.cend(),
                                    [](const QString &word) { return CommandTable::find(word) != nullptr; });
    return found == words.cend() ? QString() : *found;
}

/// A word that is no command, but nearly one.
QString nearlyACommand(const QStringList &words)
{
    static const QRegularExpression name(u"^[a-z][a-z-]*$"_s);
    const QString first = words.value(0);
    return name.match(first).hasMatch() ? Nearest::of(first, CommandTable::names()) : QString();
}

QStringList typedNames(const OptionRow &row)
{
    QStringList names = row.letter ? QStringList{u'-' + QString(QLatin1Char(row.letter))} : QStringList();
    for (const QString &name : row.names())
        names.append(u"--"_s + name);
    return names;
}

/// The sentence, if a value is none.
QString giveTyped(const QList<OptionParser::Typed> &options, OptionValues &values)
{
    for (const OptionParser::Typed &option : options) {
        for (const QString &typed : option.texts) {
            const QString text = option.row->type == OptionRow::Type::Url ? Address::meant(typed) : typed;
            QString problem;
            const auto value =
                OptionValue::fromText(*option.row, text, u"--"_s + QLatin1StringView(option.row->name), &problem);
            if (!value)
                return problem;
            values.give(*option.row, {*value, kTyped});
        }
    }
    return {};
}

/// Those that the command has and that were not typed. The sentence, if one is none.
QString giveSettings(const SettingsFile &file, const CommandRow &command, OptionValues &values)
{
    const OptionValues typed = values;
    for (const SettingsFile::Setting &setting : file.settings()) {
        if (!command.takes(*setting.row) || typed.has(QLatin1StringView(setting.row->name)))
            continue;
        QString problem;
        const auto value = file.valueOf(setting, &problem);
        if (!value)
            return problem;
        values.give(*setting.row, {*value, file.placeOf(setting.line)});
    }
    return file.problem();
}

}

QString CommandLine::configFileOf(const QStringList &words)
{
    for (qsizetype i = 0; i < words.size() && words.at(i) != "--"_L1; ++i) {
        if (words.at(i) == "--config"_L1)
            return words.value(i + 1);
        if (words.at(i).startsWith("--config="_L1))
            return words.at(i).sliced(9);
    }
    return {};
}

QList<QByteArray> CommandLine::secretOptions()
{
    QStringList names;
    QStringList others = Habits::secretNames();
    for (const OptionRow *row : CommandOptions::table().rows()) {
        const QStringList own = typedNames(*row);
        for (const QString &name : own)
            others.removeAll(name);
        names += row->isSecret ? own : QStringList();
    }
    names += others;
    QList<QByteArray> bytes;
    for (const QString &name : std::as_const(names))
        bytes.append(name.toLatin1());
    return bytes;
}

Outcome CommandLine::read(const QStringList &typedWords, const QString &configFile)
{
    const bool isNamed = beginsWithCommand(typedWords);
    const QStringList unnamed{QString::fromLatin1(CommandTable::unnamed().name)};
    const OptionParser::Parsed parsed = OptionParser::parse(isNamed ? typedWords : unnamed + typedWords);
    Outcome outcome{parsed.command, parsed.words,  OptionValues(CommandOptions::table()),
                    parsed.notes,   parsed.isHelp, parsed.text};
    if (!parsed.command)
        return outcome;
    const QString late = isNamed ? QString() : lateCommand(parsed.words);
    if (!late.isEmpty())
        return complaint(
            u"\"%1\" is a command, and a command comes first: \"plait %1 …\". Its options stand behind it."_s.arg(
                late));
    const QString meant = isNamed ? QString() : nearlyACommand(typedWords);
    if (!meant.isEmpty())
        return complaint(u"\"%1\" is no command. Did you mean \"plait %2\"?"_s.arg(typedWords.constFirst(), meant));
    QString problem = giveTyped(parsed.options, outcome.values);
    if (problem.isEmpty())
        problem = giveSettings(SettingsFile::read(configFile), *parsed.command, outcome.values);
    return problem.isEmpty() ? outcome : complaint(problem);
}
