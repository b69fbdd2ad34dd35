// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

/// The commands that people are told to type next. All of them are made here: they work as they are pasted into a
/// shell, with the list and the settings that this command had.
namespace NextCommand
{

/// The files that were named on this command line, as they were typed; empty = none was. Once, before anything is said.
void setFiles(const QString &list, const QString &config);

/// "plait resume 7 --list 'my list.sqlite'".
/// @param words what follows the program's name, quoted where need be
QString line(const QString &words);
/// The same for a list that nobody may have named.
QString lineFor(const QString &list, const QString &words);
/// One word to a shell.
QString quoted(const QString &word);

}
