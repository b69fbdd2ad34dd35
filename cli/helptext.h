// SPDX-License-Identifier: MIT
#pragma once

#include <cli/commandtable.h>

#include <QString>
#include <QStringList>

/// What the program tells of itself, made of the tables. Each page fits a terminal of 80 columns and 24 lines, but for
/// those that list everything. Pure.
namespace HelpText
{

QString ofProgram();
/// What is needed most, and examples.
QString ofCommand(const CommandRow &command);
/// All options of a command.
QString ofOptions(const CommandRow &command);
/// What the words behind "help" ask for: a command, "options" with or without one, a program whose habits they have.
/// Empty, with a sentence, where there is no such thing.
QString about(const QStringList &topics, QString *problem);

}
