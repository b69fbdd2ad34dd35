// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

/// How much room text takes on a terminal. East Asian wide characters and emoji take two columns, combining marks none.
/// Where terminals differ the larger number is taken: a line that is too short does no harm. Text without escape codes.
namespace TextColumns
{

int width(const QString &text);
/// The longest beginning that fits, marks and their letters kept together.
QString left(const QString &text, int columns);
/// The text, if it fits, else its beginning with @p ellipsis behind.
QString shortened(const QString &text, int columns, const QString &ellipsis);
/// The same, but what is left out is its middle: the end of a file's name says what it is.
QString middleShortened(const QString &text, int columns, const QString &ellipsis);
/// With blanks behind, up to @p columns.
QString padded(const QString &text, int columns);
/// With blanks before, up to @p columns.
QString rightAligned(const QString &text, int columns);

}
