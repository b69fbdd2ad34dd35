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
    return Match::None;
}

}

void ProcessTitle::hide(int argc, char *const *argv, const QList<QByteArray> &options)
{
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
