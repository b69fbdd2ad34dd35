// SPDX-License-Identifier: MIT
#include <cli/pages/completions.h>

#include <cli/commandoptions.h>

using namespace Qt::StringLiterals;

namespace
{

using Completions::Source;

const QString kScript = uR"sh(#compdef plait
# SPDX-License-Identifier: MIT
# Completions of plait for zsh.

_plait_downloads() {
    local -a downloads
    downloads=(${(f)"$(plait list -n 0 2>/dev/null)"})
    downloads=(${downloads## #})
    downloads=(${downloads/ ##/:})
    _describe -V download downloads
}

_plait() {
    setopt localoptions extendedglob
    local command=get
    local -a commands
    commands=(
%1    )
    if (( CURRENT > 2 )) && [[ -n ${(M)commands:#${words[2]}:*} ]]; then
        command=${words[2]}
        words=("${words[1]}" "${(@)words[3,-1]}")
        (( CURRENT-- ))
    elif (( CURRENT == 2 )) && [[ ${words[2]} != -* ]]; then
        _describe command commands
        return
    fi
    if [[ $command == import ]] && (( ${words[(i)(%3)]} < CURRENT )); then
        _files
        return
    fi
    case $command in
%2    esac
}

_plait "$@"
)sh"_s;

QString quoted(const QString &text)
{
    QString inside = text;
    return u'\'' + inside.replace(u'\'', u"'\\''"_s) + u'\'';
}

/// Brackets end a description, colons what stands between two of them.
QString escaped(const QString &text)
{
    QString result = text;
    for (const QString &sign : {u"\\"_s, u":"_s, u"["_s, u"]"_s})
        result.replace(sign, u'\\' + sign);
    return result;
}

QString actionOf(Source source, const QString &words)
{
    switch (source) {
    case Source::Words:
    case Source::Topics:
        return u'(' + words + u')';
    case Source::Files:
        return u"_files"_s;
    case Source::Folders:
        return u"_files -/"_s;
    case Source::Programs:
        return u"_command_names -e"_s;
    case Source::Downloads:
        return u"_plait_downloads"_s;
    case Source::Nothing:
        break;
    }
    return u" "_s;
}

/// Names that are not offered once this option is there.
QString excludedBy(const OptionRow &row)
{
    QStringList names;
    if (!row.repeats)
        names.append(u"--"_s + QLatin1StringView(row.name));
    if (!row.repeats && row.letter)
        names.append(u'-' + QString(QLatin1Char(row.letter)));
    if (row.excludes)
        names.append(u"--"_s + QLatin1StringView(row.excludes));
    return names.isEmpty() ? u"*"_s : u'(' + names.join(u' ') + u')';
}

/// "'(…)'{-x+,--max-connections=}'[…]:N:…'", as _arguments reads it.
QString specOf(const OptionRow &row)
{
    const bool isFlag = row.type == OptionRow::Type::Flag;
    const QString name = u"--"_s + QLatin1StringView(row.name) + (isFlag ? u""_s : u"="_s);
    const QString letter = row.letter ? u'-' + QString(QLatin1Char(row.letter)) + (isFlag ? u""_s : u"+"_s) : QString();
    QString told = u'[' + escaped(QString::fromUtf8(row.help)) + u']';
    if (!isFlag)
        told += u':' + escaped(QString::fromLatin1(row.valueName)) + u':'
            + actionOf(Completions::valuesOf(row), QString::fromLatin1(row.choices));
    if (letter.isEmpty())
        return quoted(excludedBy(row) + name + told);
    return quoted(excludedBy(row)) + u'{' + letter + u',' + name + u'}' + quoted(told);
}

QString caseOf(const CommandRow &command)
{
    QString text = u"        %1)\n            _arguments -s -S \\\n"_s.arg(QLatin1StringView(command.name));
    for (const OptionRow *row : command.options())
        text += u"                "_s + specOf(*row) + u" \\\n"_s;
    if (command.wordName)
        text += u"                "_s
            + quoted(u"*:%1:%2"_s.arg(QLatin1StringView(command.wordName),
                                      actionOf(Completions::wordsOf(command), Completions::topics().join(u' '))))
            + u" \\\n"_s;
    return text + u"                '(-h --help)'{-h,--help}'[Print what is needed most, and end]'\n            ;;\n"_s;
}

}

QString Completions::forZsh()
{
    QString commands;
    QString cases;
    for (const CommandRow &command : CommandTable::rows()) {
        commands +=
            u"        "_s + quoted(QLatin1StringView(command.name) + u':' + QString::fromUtf8(command.help)) + u'\n';
        cases += caseOf(command);
    }
    return kScript.arg(commands, cases, beginningsOfLines().join(u'|'));
}
