// SPDX-License-Identifier: MIT
#include <cli/pages/completions.h>

#include <cli/commandoptions.h>

using namespace Qt::StringLiterals;

namespace
{

using Completions::Source;

/// Around the cases that the tables make. A value behind "=" is a word of its own to bash, and so is the sign.
const QString kScript = uR"sh(# SPDX-License-Identifier: MIT
# Completions of plait for bash.

_plait_words() {
    mapfile -t COMPREPLY < <(compgen -W "$1" -- "$2")
}

_plait_files() {
    compopt -o filenames 2>/dev/null
    mapfile -t COMPREPLY < <(compgen "$1" -- "$2")
}

_plait_downloads() {
    _plait_words "$(plait list -n 0 2>/dev/null | while read -r id rest; do printf '%s ' "$id"; done)" "$1"
}

# Values of the option $1 that begin with $2; fails where the option has none.
_plait_values() {
    case $1 in
%1        *) return 1 ;;
    esac
}

# Options of the command $1.
_plait_options() {
    case $1 in
%2    esac
}

_plait() {
    local current=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} command=get
    COMPREPLY=()
    if [[ $current == = ]]; then
        current=
    elif [[ $before == = ]]; then
        before=${COMP_WORDS[COMP_CWORD - 2]}
    fi
    case ${COMP_WORDS[1]} in
        %3) [ "$COMP_CWORD" -eq 1 ] || command=${COMP_WORDS[1]} ;;
    esac
    local word
    for word in "${COMP_WORDS[@]:1:COMP_CWORD - 1}"; do
        case $command:$word in
            %6) _plait_files -f "$current"; return ;;
        esac
    done
    if _plait_values "$before" "$current"; then
        return
    fi
    if [[ $current == -* ]]; then
        _plait_words "$(_plait_options "$command")" "$current"
    elif [ "$COMP_CWORD" -eq 1 ]; then
        _plait_words "%4" "$current"
    else
        case $command in
%5            *) ;;
        esac
    fi
}

complete -F _plait plait
)sh"_s;

QString actionOf(Source source, const QString &words, const QString &typed)
{
    switch (source) {
    case Source::Words:
    case Source::Topics:
        return u"_plait_words \"%1\" %2"_s.arg(words, typed);
    case Source::Files:
        return u"_plait_files -f "_s + typed;
    case Source::Folders:
        return u"_plait_files -d "_s + typed;
    case Source::Programs:
        return u"_plait_files -c "_s + typed;
    case Source::Downloads:
        return u"_plait_downloads "_s + typed;
    case Source::Nothing:
        break;
    }
    return u":"_s;
}

QString patternOf(const OptionRow &row)
{
    QStringList names = row.letter ? QStringList{u'-' + QString(QLatin1Char(row.letter))} : QStringList();
    for (const QString &name : row.names())
        names.append(u"--"_s + name);
    return names.join(u" | "_s);
}

QString values()
{
    QString cases;
    for (const OptionRow *row : CommandOptions::table().rows()) {
        if (row->type != OptionRow::Type::Flag)
            cases += u"        %1) %2 ;;\n"_s.arg(
                patternOf(*row), actionOf(Completions::valuesOf(*row), QString::fromLatin1(row->choices), u"\"$2\""_s));
    }
    return cases;
}

QString options()
{
    QString cases;
    for (const CommandRow &command : CommandTable::rows()) {
        QStringList names{u"--help"_s};
        for (const OptionRow *row : command.options())
            names.append(u"--"_s + QLatin1StringView(row->name));
        cases += u"        %1) echo \"%2\" ;;\n"_s.arg(QLatin1StringView(command.name), names.join(u' '));
    }
    return cases;
}

QString words()
{
    QString cases;
    for (const CommandRow &command : CommandTable::rows()) {
        const Source source = Completions::wordsOf(command);
        if (source != Source::Nothing)
            cases += u"            %1) %2 ;;\n"_s.arg(
                QLatin1StringView(command.name), actionOf(source, Completions::topics().join(u' '), u"\"$current\""_s));
    }
    return cases;
}

}

QString Completions::forBash()
{
    const QStringList commands = CommandTable::names();
    const QString lines = u"import:"_s + beginningsOfLines().join(u" | import:"_s);
    return kScript.arg(values(), options(), commands.join(u" | "_s), commands.join(u' '), words(), lines);
}
