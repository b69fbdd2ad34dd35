// SPDX-License-Identifier: MIT
#include <cli/commandtable.h>

#include <cli/commandoptions.h>

#include <algorithm>

QList<const OptionRow *> CommandRow::options() const
{
    QList<const OptionRow *> options;
    const QStringList names = QString::fromLatin1(groups).split(u' ');
    for (const QString &group : names) {
        for (const OptionRow *row : CommandOptions::table().rows()) {
            if (group == QLatin1StringView(row->group))
                options.append(row);
        }
    }
    return options;
}

const QList<CommandRow> &CommandTable::rows()
{
    static const QList<CommandRow> rows{
        {.name = "get",
         .command = Command::Get,
         .help = "Download URLs; the word may be left out",
         .usage = "[get] URL…",
         .manual = "download",
         .groups = "program input headers sending body place naming run network",
         .wordName = "URL",
         .wordHelp = "What to download"},
        {.name = "list",
         .command = Command::List,
         .help = "Show the downloads of the list, the newest first",
         .usage = "list",
         .manual = "show the downloads of the list",
         .groups = "program listing",
         .wordName = "FILE",
         .wordHelp = "With --check, --repair: a list that was set aside",
         .mostWords = 1},
        {.name = "show",
         .command = Command::Show,
         .help = "Show all that is known of a download",
         .usage = "show ID…",
         .manual = "show all that is known of a download",
         .groups = "program",
         .wordName = "ID",
         .wordHelp = "Numbers of the list",
         .leastWords = 1},
        {.name = "resume",
         .command = Command::Resume,
         .help = "Go on with downloads of the list",
         .usage = "resume ID…",
         .manual = "go on; --all: with everything unfinished",
         .groups = "program run headers network resuming",
         .wordName = "ID",
         .wordHelp = "Numbers of the list"},
        {.name = "restart",
         .command = Command::Restart,
         .help = "Fetch a download again from the beginning",
         .usage = "restart ID…",
         .manual = "fetch again from the beginning",
         .groups = "program run headers network",
         .wordName = "ID",
         .wordHelp = "Numbers of the list",
         .leastWords = 1},
        {.name = "check",
         .command = Command::Check,
         .help = "Ask whether the server still has the same file",
         .usage = "check ID…",
         .manual = "ask whether the server still has the same file",
         .groups = "program headers network",
         .wordName = "ID",
         .wordHelp = "Numbers of the list",
         .leastWords = 1},
        {.name = "finish",
         .command = Command::Finish,
         .help = "Be content with the bytes that are there, if they are one piece from the start",
         .usage = "finish ID…",
         .manual = "be content with the bytes that are there",
         .groups = "program run network",
         .wordName = "ID",
         .wordHelp = "Numbers of the list",
         .leastWords = 1},
        {.name = "query",
         .command = Command::Query,
         .help = "Print name, size, type, resume support and final URL; download nothing",
         .usage = "query URL…",
         .manual = "print name, size, type, resume support and final URL",
         .groups = "program input headers sending body network",
         .wordName = "URL",
         .wordHelp = "What to download"},
        {.name = "set-url",
         .command = Command::SetUrl,
         .help = "Give a download another address for the same file",
         .usage = "set-url ID URL",
         .manual = "give a download another address for the same file",
         .groups = "program headers network readdressing",
         .wordName = "ID",
         .wordHelp = "Number of the list, and the new URL",
         .wordType = "ID URL",
         .leastWords = 2,
         .mostWords = 2},
        {.name = "remove",
         .command = Command::Remove,
         .help = "Take a download off the list; its file stays",
         .usage = "remove ID…",
         .manual = "take a download off the list",
         .groups = "program removing",
         .wordName = "ID",
         .wordHelp = "Numbers of the list",
         .leastWords = 1},
        {.name = "config",
         .command = Command::Config,
         .help = "Print the settings, as a configuration file would have them",
         .usage = "config",
         .manual = "print the settings",
         .groups = "program headers sending place run network"},
    };
    return rows;
}

const CommandRow *CommandTable::find(const QString &name)
{
    const QList<CommandRow> &all = rows();
    const auto found = std::find_if(all.cbegin(), all.cend(),
                                    [&name](const CommandRow &row) { return name == QLatin1StringView(row.name); });
    return found == all.cend() ? nullptr : &*found;
}

const CommandRow &CommandTable::unnamed()
{
    return rows().constFirst();
}
