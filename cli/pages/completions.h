// SPDX-License-Identifier: MIT
#pragma once

#include <cli/commandtable.h>
#include <host/options/optionrow.h>

#include <QList>
#include <QString>
#include <QStringList>

/// What shells complete behind "plait", made of the tables of commands and options. Pure.
namespace Completions
{

QString forBash();
QString forZsh();
QString forFish();

/// What a value, or a word of a command, may be completed with.
enum class Source {
    Nothing, ///< addresses, numbers, texts: nobody but the person knows
    Words, ///< those of the option
    Files,
    Folders,
    Programs,
    Downloads, ///< numbers of the list
    Topics, ///< of help
};

Source valuesOf(const OptionRow &row);
Source wordsOf(const CommandRow &command);
/// Words of `import` behind which nothing is of plait: what follows is another program's line.
QStringList beginningsOfLines();
/// What there is help about.
QStringList topics();
/// Names of the commands that have the option.
QStringList commandsWith(const OptionRow &row);

}
