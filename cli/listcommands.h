// SPDX-License-Identifier: MIT
#pragma once

#include <cli/arguments.h>
#include <cli/exitstatus.h>

class Engine;
class QTextStream;

/// Commands that are done at once: those on the list alone, and the settings.
namespace ListCommands
{

/// Answers on @p answers: tables for people, with --json one object a line; complaints on @p notes.
struct Output {
    QTextStream &answers;
    QTextStream &notes;
};

/// list and show: they need the list alone, and so no module and no network. @param engine open
ExitStatus print(const Arguments &arguments, Engine &engine, const Output &output);
/// remove, clean, and set-url with --force. @param engine open
ExitStatus change(const Arguments &arguments, Engine &engine, const Output &output);
/// config
ExitStatus printSettings(const Arguments &arguments, const Output &output);

}
