// SPDX-License-Identifier: MIT
#pragma once

#include <host/parsing/clause.h>

struct EngineCommand;

/// What a command may say of limits and options: what people may choose by the table of options, and 0 for a download
/// that is to have no limit of its own. Pure, but for files that have to be there.
namespace CommandValues
{

/// Why one of the command's values is none, in a sentence that names it; empty = all are.
Clause problem(const EngineCommand &command);

}
