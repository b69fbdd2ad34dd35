// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

/// Words of strangers (servers, files, the list) as they may stand on a terminal, in a log and in JSON. Pure.
namespace Shown
{

/// The same text with "\u009b" and its like in place of whatever a terminal takes for a command or an end of the line,
/// of what changes the direction of the text, and of halves of characters. In a JSON text, where all of these stand
/// within strings, it is the same value.
QString visible(const QString &text);
/// Visible, and without logins.
QString text(const QString &text);

}
