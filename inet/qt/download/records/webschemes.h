// SPDX-License-Identifier: MIT
#pragma once

#include <QLatin1StringView>
#include <QString>
#include <QUrl>

#include <algorithm>
#include <iterator>

/// The schemes of what the module fetches, and of pages that may link to it. Pure.
namespace WebSchemes
{

struct Scheme {
    QLatin1StringView name;
    qint32 defaultPort = -1;
};

inline constexpr Scheme kAll[] = {
    {QLatin1StringView("https"), 443},
    {QLatin1StringView("http"), 80},
    {QLatin1StringView("ftp"), 21},
};

/// Null for any other. @param name as QUrl gives it, in lower case
inline const Scheme *find(const QString &name)
{
    const Scheme *const found =
        std::find_if(std::begin(kAll), std::end(kAll), [&name](const Scheme &scheme) { return name == scheme.name; });
    return found == std::end(kAll) ? nullptr : found;
}

/// False for what is no URL at all, too.
inline bool isOneOf(const QUrl &url)
{
    return url.isValid() && find(url.scheme());
}

}
