// SPDX-License-Identifier: MIT
#include <cli/commandtable.h>

#include <cli/commandoptions.h>

#include <algorithm>

QList<const OptionRow *> CommandRow::options() const
{
    QList<const OptionRow *> options;
    const QStringList names = QString::fromLatin1(groups).split(u' ', Qt::SkipEmptyParts);
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
         .wordHelp = "What to download",
         .frequent = "output dir input-file on-exists max-connections max-downloads limit-rate checksum quiet",
         .examples = "plait https://example.com/file.iso\n"
                     "plait -o new.iso -x 16 https://example.com/file.iso\n"
                     "plait -i urls.txt -d ~/Downloads"},
        {.name = "list",
         .command = Command::List,
         .help = "Show the downloads of the list",
         .usage = "list [TEXT]",
         .manual = "show the downloads of the list; with a text, those that have it in name or address",
         .groups = "program listing showing failed",
         .wordName = "TEXT",
         .wordHelp = "Part of a name or an address; with --check, --repair: a list that was set aside",
         .mostWords = 1,
         .frequent = "failed finished unfinished limit sort check repair json",
         .examples = "plait list --unfinished\n"
                     "plait list iso\n"
                     "plait list -n 0 --sort size"},
        {.name = "show",
         .command = Command::Show,
         .help = "Show all that is known of a download",
         .usage = "show ID…",
         .manual = "show all that is known of a download",
         .groups = "program",
         .wordName = "ID",
         .wordHelp = "Numbers of the list",
         .leastWords = 1,
         .frequent = "json",
         .examples = "plait show 7"},
        {.name = "resume",
         .command = Command::Resume,
         .help = "Go on with downloads of the list",
         .usage = "resume ID…",
         .manual = "go on; --all: with everything unfinished",
         .groups = "program run headers network resuming",
         .wordName = "ID",
         .wordHelp = "Numbers of the list",
         .frequent = "all max-connections limit-rate on-changed on-unresumable header user quiet",
         .examples = "plait resume 7\n"
                     "plait resume --all"},
        {.name = "retry",
         .command = Command::Retry,
         .help = "Try again what failed",
         .usage = "retry ID…",
         .manual = "try again what failed; --failed: all of that",
         .groups = "program run headers network failed",
         .wordName = "ID",
         .wordHelp = "Numbers of the list",
         .frequent = "failed max-connections limit-rate header user quiet",
         .examples = "plait retry --failed"},
        {.name = "restart",
         .command = Command::Restart,
         .help = "Fetch a download again from the beginning",
         .usage = "restart ID…",
         .manual = "fetch again from the beginning",
         .groups = "program run headers network",
         .wordName = "ID",
         .wordHelp = "Numbers of the list",
         .leastWords = 1,
         .frequent = "max-connections limit-rate header user quiet",
         .examples = "plait restart 7"},
        {.name = "check",
         .command = Command::Check,
         .help = "Ask whether the server still has the same file",
         .usage = "check ID…",
         .manual = "ask whether the server still has the same file",
         .groups = "program headers network",
         .wordName = "ID",
         .wordHelp = "Numbers of the list",
         .leastWords = 1,
         .frequent = "header user json",
         .examples = "plait check 7"},
        {.name = "finish",
         .command = Command::Finish,
         .help = "Be content with the bytes that are there, if they are one piece",
         .usage = "finish ID…",
         .manual = "be content with the bytes that are there",
         .groups = "program run network",
         .wordName = "ID",
         .wordHelp = "Numbers of the list",
         .leastWords = 1,
         .frequent = "json quiet",
         .examples = "plait finish 7"},
        {.name = "query",
         .command = Command::Query,
         .help = "Print name, size, type and final URL; download nothing",
         .usage = "query URL…",
         .manual = "print name, size, type, resume support and final URL",
         .groups = "program input headers sending body network",
         .wordName = "URL",
         .wordHelp = "What to download",
         .frequent = "input-file header user proxy json",
         .examples = "plait query https://example.com/file.iso\n"
                     "plait query --json -i urls.txt"},
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
         .mostWords = 2,
         .frequent = "force header user",
         .examples = "plait set-url 7 https://mirror.example.com/file.iso\n"
                     "plait resume 7"},
        {.name = "remove",
         .command = Command::Remove,
         .help = "Take a download off the list; its file stays",
         .usage = "remove ID…",
         .manual = "take a download off the list",
         .groups = "program removing",
         .wordName = "ID",
         .wordHelp = "Numbers of the list",
         .leastWords = 1,
         .frequent = "delete-file",
         .examples = "plait remove 7\n"
                     "plait remove --delete-file 7 8"},
        {.name = "clean",
         .command = Command::Clean,
         .help = "Take off the list what is done or gone; files stay",
         .usage = "clean",
         .manual = "take off the list what is done or gone; files stay",
         .groups = "program",
         .frequent = "json quiet",
         .examples = "plait clean"},
        {.name = "config",
         .command = Command::Config,
         .help = "Print the settings, as a configuration file would have them",
         .usage = "config",
         .manual = "print the settings",
         .groups = "program headers sending place run network showing",
         .frequent = "config",
         .examples = "plait config\n"
                     "mkdir -p ~/.config/plait && plait config > ~/.config/plait/plait.conf.new"},
        {.name = "import",
         .command = Command::Import,
         .help = "Download what a copied line for curl, wget or aria2 asks for",
         .usage = "import -- LINE",
         .manual = "download what a copied line for curl, wget or aria2 asks for",
         .groups = "program input headers sending body place naming run network",
         .wordName = "LINE",
         .wordHelp = "The line, in words or as one; none: standard input has it",
         .frequent = "output dir on-exists max-connections insecure quiet",
         .examples = "plait import -- curl -o file.iso https://example.com/file.iso\n"
                     "plait import -d ~/Downloads \"wget -c https://example.com/file.iso\"\n"
                     "plait import < copied.txt"},
        {.name = "help",
         .command = Command::Help,
         .help = "Tell of a command, of options, or of other programs' options",
         .usage = "help [TOPIC]",
         .manual = "tell of a command, of all options, or of what other programs' options are here",
         .groups = "",
         .wordName = "TOPIC",
         .wordHelp = "A command, an option, \"options\", or \"curl\", \"wget\", \"aria2\"",
         .mostWords = 2,
         .examples = "plait help resume\n"
                     "plait help --limit-rate\n"
                     "plait help options\n"
                     "plait help options list\n"
                     "plait help curl"},
    };
    return rows;
}

QStringList CommandTable::names()
{
    QStringList names;
    for (const CommandRow &row : rows())
        names.append(QString::fromLatin1(row.name));
    return names;
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
