// SPDX-License-Identifier: MIT
#include <cli/habits.h>

#include <cli/commandoptions.h>

#include <QRegularExpression>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

const QString kProgramOfAria2 = u"aria2c"_s;
constexpr const char *kNumbers[] = {"N", "SECONDS", "SIZE", "RATE"};

QStringList namesOf(const Habit &habit)
{
    return QString::fromLatin1(habit.names).split(u' ');
}

bool isTaken(const Habit &habit)
{
    return habit.kind != Habit::Kind::Advice && habit.kind != Habit::Kind::Refused;
}

/// Who typed something like it may be told of it.
bool isWorthNaming(const Habit &habit)
{
    return isTaken(habit) && habit.kind != Habit::Kind::Needless && !habit.isMinor;
}

bool meansTheSame(const Habit &one, const Habit &other)
{
    return one.kind == other.kind && qstrcmp(one.own, other.own) == 0
        && (isTaken(one) || qstrcmp(one.says, other.says) == 0) && (one.value == nullptr) == (other.value == nullptr);
}

QString sayingOf(const Habit &habit, const QString &value)
{
    return QString::fromUtf8(habit.says).replace("%1"_L1, value.isEmpty() ? QString::fromLatin1(habit.value) : value);
}

void add(QList<Habits::Meaning> &meanings, const QString &tool, const Habit &habit)
{
    const auto same = std::find_if(meanings.begin(), meanings.end(), [&habit](const Habits::Meaning &meaning) {
        return meansTheSame(meaning.habit, habit);
    });
    if (same == meanings.end())
        meanings.append({{tool}, habit});
    else
        same->tools.append(tool);
}

/// Digits, and a unit if need be.
bool isAmount(const QString &text)
{
    static const QRegularExpression amount(u"^\\d+(?:\\.\\d+)?[KMGkmg]?$"_s);
    return amount.match(text).hasMatch();
}

bool isFileName(const QString &text)
{
    static const QRegularExpression name(u"^(?:[^/:= ]+\\.[A-Za-z0-9]{1,6}|[^:= ]*/[^:= ]*)$"_s);
    return name.match(text).hasMatch();
}

}

bool Habit::isPlainlyValue(const QString &text) const
{
    return (isNumber() && isAmount(text)) || (qstrcmp(value, "FILE") == 0 && isFileName(text));
}

bool Habit::isNumber() const
{
    return value && std::any_of(std::begin(kNumbers), std::end(kNumbers), [this](const char *number) {
               return qstrcmp(value, number) == 0;
           });
}

Habits::Tool::Tool(const char *toolName, const QList<Habit> &toolRows)
    : name(QString::fromLatin1(toolName))
    , rows(toolRows)
{
}

QList<const Habits::Tool *> Habits::tools()
{
    return {&curl(), &wget(), &aria2()};
}

const Habits::Tool *Habits::find(const QString &program)
{
    const QString name = program.section(u'/', -1);
    const QList<const Tool *> all = tools();
    const auto found = std::find_if(all.cbegin(), all.cend(), [&name](const Tool *tool) {
        return name == tool->name || name == tool->name + ".exe"_L1 || (tool == &aria2() && name == kProgramOfAria2);
    });
    return found == all.cend() ? nullptr : *found;
}

Habit Habits::current(const Habit &habit)
{
    Habit row = habit;
    const bool isThere = habit.own && CommandOptions::table().find(QString::fromLatin1(habit.own));
    if (habit.kind == Habit::Kind::Advice && isThere)
        row.kind = Habit::Kind::Same;
    return row;
}

QList<Habits::Meaning> Habits::meanings(const QString &name, const QList<const Tool *> &tools)
{
    QList<Meaning> meanings;
    for (const Tool *tool : tools) {
        for (const Habit &habit : tool->rows) {
            if (namesOf(habit).contains(name))
                add(meanings, tool->name, current(habit));
        }
    }
    const bool hasMajor =
        std::any_of(meanings.cbegin(), meanings.cend(), [](const Meaning &meaning) { return !meaning.habit.isMinor; });
    if (hasMajor)
        meanings.removeIf([](const Meaning &meaning) { return meaning.habit.isMinor; });
    return meanings;
}

QString Habits::longName(const Habit &habit, const QString &name)
{
    const QStringList names = namesOf(habit);
    const auto longOne =
        std::find_if(names.cbegin(), names.cend(), [](const QString &one) { return one.startsWith("--"_L1); });
    return name.startsWith("--"_L1) || longOne == names.cend() ? name : *longOne;
}

QString Habits::advice(const Habit &habit, const QString &typed)
{
    if (habit.kind == Habit::Kind::Always || habit.kind == Habit::Kind::Needless)
        return u"leave it out: "_s + sayingOf(habit, typed);
    if (habit.kind != Habit::Kind::Same)
        return sayingOf(habit, typed);
    if (!habit.own)
        return u"write it as it is"_s;
    const QString own = QString::fromLatin1(habit.own);
    const QString value = QString::fromLatin1(habit.value);
    if (!own.contains(u'='))
        return u"write \"--%1\""_s.arg(value.isEmpty() ? own : own + u' ' + value);
    const QString given = own.section(u'=', 1).replace("%1"_L1, value);
    const QString quote = given.contains(u' ') ? u"'"_s : QString();
    return u"write \"--%1 %2\""_s.arg(own.section(u'=', 0, 0), quote + given + quote);
}

QStringList Habits::secretNames()
{
    QStringList secrets;
    const QList<const Tool *> all = tools();
    for (const Tool *tool : all) {
        for (const Habit &habit : tool->rows)
            secrets += habit.isSecret ? namesOf(habit) : QStringList();
    }
    secrets.removeDuplicates();
    return secrets;
}

QStringList Habits::names()
{
    QStringList names;
    const QList<const Tool *> all = tools();
    for (const Tool *tool : all) {
        for (const Habit &habit : tool->rows)
            names += isWorthNaming(current(habit)) ? namesOf(habit) : QStringList();
    }
    names.removeIf([](const QString &name) { return !name.startsWith("--"_L1) || name.contains(u'='); });
    return names;
}
