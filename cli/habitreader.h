// SPDX-License-Identifier: MIT
#pragma once

#include <cli/commandtable.h>
#include <cli/habits.h>

#include <QString>
#include <QStringList>

/// Writes a command line that holds what people are used to from other programs in our own words. Pure.
namespace HabitReader
{

struct Read {
    QStringList options; ///< in full, as "--output=FILE"; what nobody knows stands as it was
    QStringList addresses; ///< whatever belongs to no option
    QStringList notes; ///< sentences: what is left out
    QString complaint; ///< a sentence; empty = all could be read
};

/// What was typed behind a command of ours. Our own names come first. What is not to be had, or has several meanings of
/// which none is certain, is complained of; without what nothing is missed, it is noted.
Read typed(const QStringList &words, const CommandRow &command);
/// The words of another program behind its name. What is not to be had is noted, as long as the rest asks for the same.
Read imported(const QStringList &words, const Habits::Tool &tool);

}
