// SPDX-License-Identifier: MIT
#include <cli/pages/completions.h>

#include <cli/commandoptions.h>

using namespace Qt::StringLiterals;

namespace
{

using Completions::Source;

const QString kHead = uR"sh(# SPDX-License-Identifier: MIT
# Completions of plait for fish.

# Whether the command that was typed, or is meant, is one of these.
function __plait_has
    set -l words (commandline -opc)
    set -l command get
    if set -q words[2]; and contains -- $words[2] %1
        set command $words[2]
    end
    contains -- $command $argv
end

# Whether what is typed is another program's line.
function __plait_imports
    set -l words (commandline -opc)
    __plait_has import; or return 1
    for word in $words[3..]
        contains -- $word %2; and return 0
    end
    return 1
end

function __plait_begins
    test (count (commandline -opc)) -eq 1
end

function __plait_downloads
    plait list -n 0 2>/dev/null | string trim | string replace -r '^(\d+)\s+' '$1\t'
end

complete -c plait -f
complete -c plait -n __plait_imports -F
complete -c plait -s h -l help -d 'Print what is needed most, and end'
complete -c plait -n __plait_begins -l version -d 'Print the version'
)sh"_s;

QString quoted(const QString &text)
{
    QString inside = text;
    inside.replace(u'\\', u"\\\\"_s).replace(u'\'', u"\\'"_s);
    return u'\'' + inside + u'\'';
}

/// How the value is completed, as "complete" is told; a flag has none.
QString valueOf(const OptionRow &row)
{
    if (row.type == OptionRow::Type::Flag)
        return {};
    switch (Completions::valuesOf(row)) {
    case Source::Words:
        return u" -x -a '%1'"_s.arg(QLatin1StringView(row.choices));
    case Source::Folders:
        return u" -x -a '(__fish_complete_directories)'"_s;
    case Source::Programs:
        return u" -x -a '(__fish_complete_command)'"_s;
    case Source::Files:
        return u" -r -F"_s;
    default:
        return u" -x"_s;
    }
}

QString lineOf(const OptionRow &row)
{
    const QString letter = row.letter ? u" -s "_s + QLatin1Char(row.letter) : QString();
    return u"complete -c plait -n 'not __plait_imports; and __plait_has %1'%2 -l %3%4 -d %5\n"_s.arg(
        Completions::commandsWith(row).join(u' '), letter, QLatin1StringView(row.name), valueOf(row),
        quoted(QString::fromUtf8(row.help)));
}

QString wordLineOf(const CommandRow &command)
{
    const QString condition =
        u"complete -c plait -n 'not __plait_begins; and __plait_has %1'"_s.arg(QLatin1StringView(command.name));
    switch (Completions::wordsOf(command)) {
    case Source::Downloads:
        return condition + u" -a '(__plait_downloads)'\n"_s;
    case Source::Topics:
        return condition + u" -a '%1'\n"_s.arg(Completions::topics().join(u' '));
    default:
        return {};
    }
}

}

QString Completions::forFish()
{
    QString script = kHead.arg(CommandTable::names().join(u' '), beginningsOfLines().join(u' '));
    for (const CommandRow &command : CommandTable::rows())
        script += u"complete -c plait -n __plait_begins -a %1 -d %2\n"_s.arg(QLatin1StringView(command.name),
                                                                             quoted(QString::fromUtf8(command.help)))
            + wordLineOf(command);
    for (const OptionRow *row : CommandOptions::table().rows())
        script += lineOf(*row);
    return script;
}
