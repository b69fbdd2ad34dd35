// SPDX-License-Identifier: MIT
#include <cli/processtitle.h>

#include <algorithm>
#include <cstring>
#include <iterator>
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

/// What stands between "://" and the last "@" of the host's part. An option's value may be a URL, too.
void maskLogin(char *text)
{
    char *const slashes = std::strstr(text, "://");
    if (!slashes)
        return;
    char *const start = slashes + 3;
    char *const end = start + std::strcspn(start, "/?#");
    char *const at = std::find(std::reverse_iterator(end), std::reverse_iterator(start), '@').base();
    if (at != start)
        mask(start, at - 1);
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
            maskLogin(argv[i]);
    }
}
