// SPDX-License-Identifier: MIT
#pragma once

#include <cli/habit.h>

#include <QList>
#include <QString>
#include <QStringList>

/// What people are used to typing, and what it is here. One table for each program that they come from.
namespace Habits
{

struct Tool {
    Tool(const char *name, const QList<Habit> &rows);

    QString name;
    QList<Habit> rows;
};

const Tool &curl();
const Tool &wget();
const Tool &aria2();
QList<const Tool *> tools();
/// Null = none is of that name; a path before it and its own program's name ("aria2c") are as good.
const Tool *find(const QString &program);

/// The row as it counts today: an advice is for as long as we have no option of that name.
Habit current(const Habit &habit);

/// One thing that an option of that name means, and where.
struct Meaning {
    QStringList tools; ///< their names
    Habit habit;
};

/// All that a name means to one of the programs, each once; as it counts today.
/// @param name with its dashes, and where there is such a row with "=" and its value
QList<Meaning> meanings(const QString &name, const QList<const Tool *> &tools);
/// The name by which people would know it: the long one, if it has one.
QString longName(const Habit &habit, const QString &name);
/// What it is here, for a person who is used to it: "write "--output FILE"".
/// @param value what was typed; empty = the name of the value stands for it
QString advice(const Habit &habit, const QString &value = {});
/// The long names of those that are taken, with their dashes, but for rare ones and what is left out.
QStringList names();
/// What others of the user's machine are not to see: the names, with their dashes.
QStringList secretNames();

}
