// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QStringList>

/// Who may include whom, how a source begins, and which words it has. Works on text alone, so that the rules themselves
/// can be tested.
namespace HouseRules
{
/// What is wrong with the include lines of the source at `path` (from the root of the tree), as "path:line: reason".
QStringList includeProblems(const QString &path, const QString &text);

/// What is wrong with its first lines: the licence, the guard of a header.
QStringList headProblems(const QString &path, const QString &text);

/// What of it speaks of a command line that only one front end has: texts with options or commands of the program.
QStringList commandLineProblems(const QString &path, const QString &text);

/// Which of its texts read like a sentence that people would meet, where only front ends have words. What may have them
/// all the same is listed with the reason; of others, SQL, formats of dates, the log's lines and what asserts say do
/// not count.
QStringList sentenceProblems(const QString &path, const QString &text);

/// The Qt module ("QtCore") that a header named without its module belongs to; empty when Qt has none of that name.
QString qtModuleOf(const QString &header);
}
