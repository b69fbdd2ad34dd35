// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QStringList>

/// Who may include whom, and how a source begins. Works on text alone, so that the rules themselves can be tested.
namespace HouseRules
{
/// What is wrong with the include lines of the source at `path` (from the root of the tree), as "path:line: reason".
QStringList includeProblems(const QString &path, const QString &text);

/// What is wrong with its first lines: the licence, the guard of a header.
QStringList headProblems(const QString &path, const QString &text);

/// The Qt module ("QtCore") that a header named without its module belongs to; empty when Qt has none of that name.
QString qtModuleOf(const QString &header);
}
