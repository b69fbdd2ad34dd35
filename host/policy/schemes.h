// SPDX-License-Identifier: MIT
#pragma once

#include <QLatin1StringView>
#include <QUrl>

/// The schemes that transfers are made for. What else there is, a module may serve without them. Pure.
namespace Schemes
{

inline constexpr QLatin1StringView kHttp{"http"};
inline constexpr QLatin1StringView kHttps{"https"};
inline constexpr QLatin1StringView kFtp{"ftp"};

inline bool isFtp(const QUrl &url)
{
    return url.scheme() == kFtp;
}

/// HTTP from the first byte on.
inline bool isPlainHttp(const QUrl &url)
{
    return url.scheme() == kHttp;
}

/// HTTP over TLS.
inline bool isHttps(const QUrl &url)
{
    return url.scheme() == kHttps;
}

/// HTTP, over TLS or not.
inline bool isHttp(const QUrl &url)
{
    return isPlainHttp(url) || isHttps(url);
}

}
