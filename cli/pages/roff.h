// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

/// The language of manual pages, as far as the manual's own needs go. Pure.
namespace Roff
{

/// Any text, as it is: nothing in it is taken for a command, and every character is shown whatever the terminal knows.
QString escaped(const QString &text);
/// A line of Markdown: `code` and **words** become bold, links become their words.
QString line(const QString &markdown);
/// Paragraphs, lists, tables, fenced blocks and headings from the third rank on. The first cell of a row, or the first
/// two where the column is headed "command", name what the others tell.
QString blocks(const QString &markdown);

}
