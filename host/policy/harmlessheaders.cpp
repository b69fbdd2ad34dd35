// SPDX-License-Identifier: MIT
#include <host/policy/harmlessheaders.h>

#include <algorithm>
#include <iterator>

using namespace Qt::StringLiterals;

namespace
{

constexpr QLatin1StringView kHarmless[] = {
    // What is understood, and how fresh it has to be.
    "accept"_L1, "accept-charset"_L1, "accept-encoding"_L1, "accept-language"_L1, "cache-control"_L1, "pragma"_L1,
    // What asks, from where, and what it wishes.
    "user-agent"_L1, "referer"_L1, "origin"_L1, "dnt"_L1, "sec-gpc"_L1, "save-data"_L1, "priority"_L1,
    "upgrade-insecure-requests"_L1, "x-requested-with"_L1, "sec-ch-ua"_L1, "sec-ch-ua-mobile"_L1,
    "sec-ch-ua-platform"_L1, "sec-fetch-dest"_L1, "sec-fetch-mode"_L1, "sec-fetch-site"_L1, "sec-fetch-user"_L1,
    // How it is sent.
    "connection"_L1, "te"_L1, "content-type"_L1};

struct Refusal {
    QLatin1StringView name;
    Clause::Kind reason;
};

constexpr Refusal kRefusals[] = {
    {"range"_L1, Clause::Kind::RangeIsOurs},
    {"if-range"_L1, Clause::Kind::RangeIsOurs},
    {"content-length"_L1, Clause::Kind::LengthIsOurs},
    {"transfer-encoding"_L1, Clause::Kind::LengthIsOurs},
};

bool isSame(const QString &name, QLatin1StringView lowerCase)
{
    return name.compare(lowerCase, Qt::CaseInsensitive) == 0;
}

}

QStringList HarmlessHeaders::names()
{
    return {std::begin(kHarmless), std::end(kHarmless)};
}

bool HarmlessHeaders::isHarmless(const QString &name)
{
    const QString trimmed = name.trimmed();
    return std::any_of(std::begin(kHarmless), std::end(kHarmless),
                       [&trimmed](QLatin1StringView harmless) { return isSame(trimmed, harmless); });
}

QVariantMap HarmlessHeaders::takeOthersFrom(QVariantMap *headers)
{
    QVariantMap others;
    for (auto it = headers->begin(); it != headers->end();) {
        if (isHarmless(it.key())) {
            ++it;
        } else {
            others.insert(it.key(), it.value());
            it = headers->erase(it);
        }
    }
    return others;
}

std::optional<Clause::Kind> HarmlessHeaders::refusal(const QString &name, bool everywhere)
{
    const auto found = std::find_if(std::begin(kRefusals), std::end(kRefusals),
                                    [&name](const Refusal &refusal) { return isSame(name, refusal.name); });
    if (found != std::end(kRefusals))
        return found->reason;
    if (everywhere && isSame(name, "host"_L1))
        return Clause::Kind::HostIsOfOne;
    return std::nullopt;
}
