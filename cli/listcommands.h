// SPDX-License-Identifier: MIT
#pragma once

#include <cli/arguments.h>
#include <cli/exitstatus.h>

class DownloadSession;
class QTextStream;

/// Commands that are done at once: those on the list alone, and the settings.
namespace ListCommands
{

/// Answers on @p answers: tables for people, with --json one object a line; complaints on @p notes.
struct Output {
    QTextStream &answers;
    QTextStream &notes;
};

/// list and show: they need no session, and so no module and no network.
ExitStatus print(const Arguments &arguments, const Output &output);
/// remove, and set-url with --force. @param session open
ExitStatus change(const Arguments &arguments, DownloadSession &session, const Output &output);
/// config
ExitStatus printSettings(const Arguments &arguments, const Output &output);

}
