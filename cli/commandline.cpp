// SPDX-License-Identifier: MIT
#include <cli/commandline.h>

#include <cli/address.h>
#include <cli/clausewords.h>
#include <cli/commandoptions.h>
#include <cli/foreignbytes.h>
#include <cli/habits.h>
#include <cli/nearest.h>
#include <cli/nextcommand.h>
#include <cli/optionparser.h>
#include <cli/pathexpansion.h>
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

/// What people call our commands who know others'.
struct Synonym {
    QLatin1StringView typed;
    QLatin1StringView meant;
};

constexpr Synonym kSynonyms[] = {
    {"ls"_L1, "list"_L1},         {"status"_L1, "list"_L1},       {"rm"_L1, "remove"_L1},    {"del"_L1, "remove"_L1},
    {"delete"_L1, "remove"_L1},   {"info"_L1, "show"_L1},         {"add"_L1, "get"_L1},      {"download"_L1, "get"_L1},
    {"fetch"_L1, "get"_L1},       {"continue"_L1, "resume"_L1},   {"start"_L1, "resume"_L1}, {"verify"_L1, "check"_L1},
    {"settings"_L1, "config"_L1}, {"version"_L1, "--version"_L1},
};

constexpr QLatin1StringView kStops[] = {"stop"_L1, "pause"_L1, "cancel"_L1};

/// A word that is no command, but nearly one, or another's name for one.
QString nearlyACommand(const QString &first)
{
    static const QRegularExpression name(u"^[a-z][a-z-]*$"_s);
    const auto synonym = std::find_if(std::begin(kSynonyms), std::end(kSynonyms),
                                      [&first](const Synonym &one) { return first == one.typed; });
    if (synonym != std::end(kSynonyms))
        return synonym->meant;
    return name.match(first).hasMatch() ? Nearest::of(first, CommandTable::names()) : QString();
}

/// The sentence about a first word that was meant for a command; empty = it was not.
QString problemOfCommand(const QString &first)
{
    if (std::find(std::begin(kStops), std::end(kStops), first) != std::end(kStops))
        return u"\"%1\" is no command: a download stops with the plait that runs it, by Ctrl-C. \"%2\" goes on."_s.arg(
            first, NextCommand::line(u"resume --all"_s));
    const QString meant = nearlyACommand(first);
    return meant.isEmpty() ? QString() : u"\"%1\" is no command. Did you mean \"plait %2\"?"_s.arg(first, meant);
}

QStringList typedNames(const OptionRow &row)
{
    QStringList names = row.letter ? QStringList{u'-' + QString(QLatin1Char(row.letter))} : QStringList();
    for (const QString &name : row.names())
        names.append(u"--"_s + name);
    return names;
}

/// Files and folders, and what may be something else as well.
bool mayBePath(const OptionRow &row)
{
    using Type = OptionRow::Type;
    return row.isPath() || row.type == Type::FileOrUrl || row.type == Type::FileName;
}

/// The sentence about a value with bytes that no text has; empty = there are none.
QString problemOfBytes(const OptionRow &row, const QString &text)
{
    if (!ForeignBytes::areIn(text))
        return {};
    const QString name = u"--"_s + QLatin1StringView(row.name);
    const QString what = row.isSecret ? u"the value of "_s + name : u"%1 \"%2\""_s.arg(name, ForeignBytes::shown(text));
    return what + u' ' + ForeignBytes::problem(mayBePath(row));
}

/// What is meant by a word that was typed. Nothing, with a sentence, where that is not known.
std::optional<QString> meantBy(const QString &typed, const OptionRow &row, QString *problem)
{
    if (row.type == OptionRow::Type::Url)
        return Address::meant(typed);
    *problem = problemOfBytes(row, typed);
    if (!problem->isEmpty())
        return std::nullopt;
    if (!mayBePath(row))
        return typed;
    const auto path = PathExpansion::inHome(typed, QProcessEnvironment::systemEnvironment(), problem);
    if (!path)
        *problem = u"--%1 \"%2\" "_s.arg(QLatin1StringView(row.name), typed) + *problem;
    return path;
}

/// The sentence, if a value is none.
QString giveTyped(const QList<OptionParser::Typed> &options, OptionValues &values)
{
    for (const OptionParser::Typed &option : options) {
        for (const QString &typed : option.texts) {
            QString problem;
            Clause wrong;
            const auto text = meantBy(typed, *option.row, &problem);
            const QString name = u"--"_s + QLatin1StringView(option.row->name);
            const auto value = text ? OptionValue::fromText(*option.row, *text, name, &wrong) : std::nullopt;
            if (!value)
                return text ? ClauseWords::of(wrong) : problem;
            values.give(*option.row, {*value, kTyped});
        }
    }
    return {};
}

QString valueAmong(const QStringList &words, const QString &option)
{
    for (qsizetype i = 0; i < words.size() && words.at(i) != "--"_L1; ++i) {
        if (words.at(i) == option)
            return words.value(i + 1);
        if (words.at(i).startsWith(option + u'='))
            return words.at(i).sliced(option.size() + 1);
    }
    return {};
}

/// The flag that is set and cannot stand beside this one; null = there is none.
const OptionRow *excludedFor(const OptionRow &row, const OptionValues &values)
{
    for (const OptionRow *other : values.table().rows()) {
        const bool excludes = qstrcmp(other->excludes, row.name) == 0 || qstrcmp(row.excludes, other->name) == 0;
        if (excludes && values.flag(QLatin1StringView(other->name)))
            return other;
    }
    return nullptr;
}

/// Those that the command has and that were not typed. The sentence, if one is none.
QString giveSettings(const SettingsFile &file, const CommandRow &command, OptionValues &values)
{
    const OptionValues typed = values;
    for (const SettingsFile::Setting &setting : file.settings()) {
        const OptionRow *const other = excludedFor(*setting.row, values);
        const bool isTyped =
            typed.has(QLatin1StringView(setting.row->name)) || (other && typed.has(QLatin1StringView(other->name)));
        if (!command.takes(*setting.row) || isTyped)
            continue;
        QString problem;
        const auto value = file.valueOf(setting, &problem);
        if (!value)
            return problem;
        if (other && value->toBool())
            return u"%1: \"%2\" and \"%3\" cannot stand together. Leave one of them out."_s.arg(
                file.placeOf(setting.line), QLatin1StringView(setting.row->name), QLatin1StringView(other->name));
        values.give(*setting.row, {*value, file.placeOf(setting.line)});
    }
    return file.problem();
}

}

QString CommandLine::typed()
{
    return kTyped;
}

QString CommandLine::configFileOf(const QStringList &words)
{
    return valueAmong(words, u"--config"_s);
}

QString CommandLine::listFileOf(const QStringList &words)
{
    return valueAmong(words, u"--list"_s);
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
    Outcome outcome{parsed.command, parsed.words, OptionValues(CommandOptions::table()), parsed.notes, parsed.asides,
                    parsed.isHelp,  parsed.text};
    if (!parsed.command)
        return outcome;
    const QString late = isNamed ? QString() : lateCommand(parsed.words);
    if (!late.isEmpty())
        return complaint(
            u"\"%1\" is a command, and a command comes first: \"plait %1 …\". Its options stand behind it."_s.arg(
                late));
    const QString misnamed = isNamed ? QString() : problemOfCommand(typedWords.value(0));
    if (!misnamed.isEmpty())
        return complaint(misnamed);
    QString problem = giveTyped(parsed.options, outcome.values);
    if (problem.isEmpty())
        problem = giveSettings(SettingsFile::read(configFile), *parsed.command, outcome.values);
    return problem.isEmpty() ? outcome : complaint(problem);
}
