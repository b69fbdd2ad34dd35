// SPDX-License-Identifier: MIT
#pragma once

#include <cli/arguments.h>
#include <cli/exitstatus.h>

class QTextStream;

/// "plait list --check" and "plait list --repair": what they find goes to @p answers (with --json one object a line),
/// why they could not begin to @p notes.
namespace ListCare
{

/// Done for a list that is whole.
ExitStatus check(const Arguments &arguments, QTextStream &answers, QTextStream &notes);
/// Done when all of it was brought over, or nothing needed to be.
ExitStatus repair(const Arguments &arguments, QTextStream &answers, QTextStream &notes);

}
