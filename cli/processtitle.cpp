// SPDX-License-Identifier: MIT
#include <cli/processtitle.h>

#include <host/policy/redaction.h>

#include <algorithm>
#include <cstring>
#include <string_view>

namespace
{

constexpr char kMask = '*';

void mask(char *from, char *to)
{
    std::fill(from, to, kMask);
}

void maskAll(char *text)
{
    mask(text, text + std::strlen(text));
}

/// An option's value may be a URL, too, and a URL may hold another one. A byte is a character here, so that places in
/// the text are places in the argument.
void maskLogins(char *text)
{
    const QList<Redaction::Span> logins = Redaction::loginsInArgument(QString::fromLatin1(text));
    for (const Redaction::Span &login : logins)
        mask(text + login.begin, text + login.begin + login.size);
}

enum class Match { None, ValueFollows, ValueInside };

bool isShort(const QByteArray &option)
{
    return option.size() == 2 && option.at(1) != '-';
}

/// Where the value begins of a letter that stands among others, "-Lu"; null = there is none of them.
char *valueInLetters(char *argument, const QList<QByteArray> &options)
{
    if (argument[0] != '-' || argument[1] == '-' || argument[1] == 0)
        return nullptr;
    for (char *letter = argument + 2; *letter; ++letter) {
        if (options.contains(QByteArray("-") + *letter))
            return letter + 1;
    }
    return nullptr;
}

/// How an argument gives one of the options. @param value set to the value within the argument
Match match(char *argument, const QList<QByteArray> &options, char **value)
{
    const std::string_view text(argument);
    for (const QByteArray &option : options) {
        const std::string_view name(option.constData(), size_t(option.size()));
        if (text == name)
            return Match::ValueFollows;
        if (!text.starts_with(name))
            continue;
        *value = argument + name.size();
        if (isShort(option))
            return Match::ValueInside;
        if (**value != '=')
            continue;
        ++*value;
        return Match::ValueInside;
    }
    *value = valueInLetters(argument, options);
    if (!*value)
        return Match::None;
    return **value ? Match::ValueInside : Match::ValueFollows;
}

}

void ProcessTitle::hide(int argc, char *const *argv, const QList<QByteArray> &options)
{
    // Another program's line: each of its words may be a secret.
    if (argc > 1 && std::strcmp(argv[1], "import") == 0) {
        std::for_each(argv + 2, argv + argc, &maskAll);
        return;
    }
    bool optionsEnded = false;
    for (int i = 1; i < argc && argv[i]; ++i) {
        char *value = nullptr;
        const Match found = optionsEnded ? Match::None : match(argv[i], options, &value);
        if (found == Match::ValueInside)
            maskAll(value);
        else if (found == Match::ValueFollows && i + 1 < argc && argv[i + 1])
            maskAll(argv[++i]);
        else if (std::strcmp(argv[i], "--") == 0)
            optionsEnded = true;
        else
            maskLogins(argv[i]);
    }
}
