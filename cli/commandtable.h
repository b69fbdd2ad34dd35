// SPDX-License-Identifier: MIT
#pragma once

#include <host/options/optionrow.h>

#include <QList>
#include <QString>
#include <QStringList>

/// What can be asked of the program.
enum class Command {
    Get,
    Query, ///< learn, do not download
    Plan, ///< say what Get would do
    List,
    CheckList,
    RepairList,
    Show,
    Resume,
    Retry,
    Restart,
    Check,
    Finish,
    SetUrl,
    Remove,
    Clean,
    Config,
    Import, ///< does what Get does
    Help,
};

/// A word of the command line that says what is asked for, with what may follow it.
struct CommandRow {
    const char *name;
    Command command;
    const char *help; ///< a line for a terminal
    const char *usage; ///< what follows the word, for the manual; the word itself where that may be left out
    const char *manual; ///< Markdown
    const char *groups; ///< of options, parted by blanks
    const char *wordName = nullptr; ///< of what follows the options; null = nothing does
    const char *wordHelp = nullptr;
    const char *wordType = nullptr; ///< null = any text
    int leastWords = 0;
    int mostWords = -1; ///< -1 = no end
    const char *frequent = ""; ///< names of the options that its page has, parted by blanks
    const char *examples = ""; ///< of that page, a line each

    /// Those that the command has, group by group.
    QList<const OptionRow *> options() const;
    bool takes(const OptionRow &option) const { return options().contains(&option); }
};

/// The commands, in the order in which people see them.
namespace CommandTable
{

const QList<CommandRow> &rows();
QStringList names();
/// Null = there is none of that name.
const CommandRow *find(const QString &name);
/// What is meant where no command is named.
const CommandRow &unnamed();

}
