// SPDX-License-Identifier: MIT
#include <cli/commandoptions.h>

#include <limits>

namespace
{

using Row = OptionRow;
using Type = Row::Type;

constexpr Row::Places kTyped = Row::CommandLine;
constexpr Row::Places kSetting = Row::CommandLine | Row::SettingsFile;

const Row kBefore[] = {
    {.name = "list",
     .group = "program",
     .type = Type::Path,
     .valueName = "FILE",
     .places = kSetting,
     .help = "Keep the list of downloads in this file"},
    {.name = "config",
     .group = "program",
     .type = Type::Path,
     .valueName = "FILE",
     .places = kTyped,
     .help = "Read settings from this file"},
    {.name = "json",
     .group = "program",
     .places = kSetting,
     .help = "Print one JSON object a line on standard output",
     .manual = "print one JSON object a line on standard output; see [json.md](json.md)"},
    {.name = "quiet",
     .letter = 'q',
     .otherNames = "silent",
     .group = "program",
     .places = kSetting,
     .help = "Print errors only"},
    {.name = "verbose",
     .letter = 'v',
     .group = "program",
     .places = kTyped,
     .excludes = "quiet",
     .help = "Tell of each request, its answer and each connection",
     .manual =
         "tell of each request (`>`), its answer (`<`), and each section that begins, ends or fails; the number in "
         "front is the download's"},
    {.name = "log",
     .group = "program",
     .type = Type::Path,
     .valueName = "FILE",
     .places = kSetting,
     .help = "Append the log to this file"},
    {.name = "log-level",
     .group = "program",
     .type = Type::Number,
     .most = 9,
     .valueName = "N",
     .places = kSetting,
     .help = "0: none; 1: the course of downloads; 4: their sections, too; 5: each change of state",
     .manual = "0: none; 1: the course of downloads (default); 4: their sections, too (default with `--log`); 5: each "
               "change of their state"},
    {.name = "input-file",
     .letter = 'i',
     .group = "input",
     .type = Type::Path,
     .valueName = "FILE",
     .places = kTyped,
     .help = "Take URLs from this file, one a line; -: standard input",
     .manual = "take URLs from this file, one a line; `-`: standard input. See [Lists of "
               "addresses](#lists-of-addresses)"},
    {.name = "no-list",
     .group = "input",
     .places = kTyped,
     .help = "Keep no list: what is not finished is forgotten at the end",
     .manual = "keep no list: nothing is written but the files, and what is not finished cannot be resumed later"},
};

const Row kAfter[] = {
    {.name = "progress",
     .group = "run",
     .type = Type::Choice,
     .choices = "auto bar line json none",
     .fallback = "auto",
     .valueName = "HOW",
     .places = kSetting,
     .help = "How to show progress (default: auto)",
     .manual = "`bar`: lines that are redrawn; `line`: a plain line for each download every 5 s; `json`: the "
               "`progress` events of [json.md](json.md) alone, on standard output; `none`; `auto` (default): `bar` on "
               "a terminal, else `line`"},
    {.name = "on-complete",
     .group = "run",
     .type = Type::Program,
     .valueName = "COMMAND",
     .places = kSetting,
     .help = "Call this program with path and number of each finished download",
     .manual = "call this program for each download that is done, with the path of its file (`-` where that went to "
               "standard output) and its number; no shell reads them. plait ends when the last of these programs has"},
    {.name = "on-error",
     .group = "run",
     .type = Type::Program,
     .valueName = "COMMAND",
     .places = kSetting,
     .help = "The same for each that failed",
     .manual = "the same for each download that failed, and each address that was refused; the path is empty where "
               "there is no file yet, and the number 0 where it is not in the list"},
    {.name = "query",
     .group = "naming",
     .places = kTyped,
     .help = "The same as \"plait query\"",
     .manual = "the same as `plait query`"},
    {.name = "dry-run",
     .group = "naming",
     .places = kTyped,
     .excludes = "query",
     .help = "Say what would be fetched, to where, over how many connections; fetch nothing",
     .manual =
         "say what would be fetched, to where, how large it is and over how many connections at most; fetch nothing"},
    {.name = "timestamping",
     .letter = 'N',
     .group = "place",
     .places = kSetting,
     .help = "Ask the server whether what is there already is its file still",
     .manual =
         "ask the server whether what is there already is its file still; where it is another one, `--on-changed` "
         "says what to do"},
    {.name = "finished",
     .otherNames = "done",
     .group = "listing",
     .places = kTyped,
     .help = "Only those that are done"},
    {.name = "failed", .group = "failed", .places = kTyped, .help = "Those that failed"},
    {.name = "unfinished",
     .group = "listing",
     .places = kTyped,
     .help = "Only those that are not, or were not compared with their checksum yet"},
    {.name = "limit",
     .letter = 'n',
     .group = "showing",
     .type = Type::Number,
     .most = std::numeric_limits<int>::max(),
     .fallback = "50",
     .valueName = "N",
     .places = kSetting,
     .help = "Lines at most, the newest (default: 50); 0: no limit",
     .manual = "lines at most, the newest (default: 50); 0: no limit"},
    {.name = "sort",
     .group = "showing",
     .type = Type::Choice,
     .choices = "id name size time",
     .fallback = "id",
     .valueName = "KEY",
     .places = kSetting,
     .help = "By what (default: id, as they were added)",
     .manual = "by `id` (default, as they were added), `name`, `size` or `time`"},
    {.name = "check",
     .group = "listing",
     .places = kTyped,
     .excludes = "repair",
     .help = "Look whether the list is whole; change nothing",
     .manual = "look whether the list is whole, see [When the list is damaged](#when-the-list-is-damaged)"},
    {.name = "repair",
     .group = "listing",
     .places = kTyped,
     .excludes = "check",
     .help = "Bring over what can be read of a damaged list, and keep that",
     .manual = "bring over what can be read of a damaged list, see the same"},
    {.name = "all", .group = "resuming", .places = kTyped, .help = "Everything that is unfinished"},
    {.name = "force",
     .group = "readdressing",
     .places = kTyped,
     .help = "Even where the file there may be another one"},
    {.name = "delete-file", .group = "removing", .places = kTyped, .help = "Delete the file, too"},
};

QList<const Row *> allRows()
{
    QList<const Row *> rows;
    for (const Row &row : kBefore)
        rows.append(&row);
    rows += OptionTable::ofHost().rows();
    for (const Row &row : kAfter)
        rows.append(&row);
    return rows;
}

}

const OptionTable &CommandOptions::table()
{
    static const OptionTable table(allRows());
    return table;
}
