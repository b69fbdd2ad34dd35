// SPDX-License-Identifier: MIT
#pragma once

#include <cli/commandtable.h>

#include <QString>
#include <QStringList>

/// Takes the words of a command line apart by the tables of commands and options.
namespace OptionParser
{

/// An option as it was typed.
struct Typed {
    const OptionRow *row = nullptr;
    QStringList texts; ///< one for each time; never empty
};

struct Parsed {
    const CommandRow *command = nullptr; ///< null = there is a text to end with
    QStringList words; ///< that belong to no option: addresses, numbers
    QList<Typed> options;
    QStringList notes; ///< sentences: what was left out of a line for another program
    QStringList asides; ///< sentences: what was left out of what was typed, and is not missed

    bool isHelp = false; ///< the text is an answer, not a complaint
    QString text;
};

/// @param words the command's first
Parsed parse(const QStringList &words);

}
