// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QList>
#include <QNetworkCookie>
#include <QString>
#include <QUrl>
#include <QVariantMap>

/// Where a download's bytes come from, and what is sent along to get them.
struct AbstractDownloadSourceInfo {
    /// Bits of flags.
    enum Flag : quint64 {
        NoSynthesisedReferer = 0x1, ///< never make up a referer from the URL
    };

    QUrl url;
    QString referer; ///< explicit referer; empty = see webPageUrl
    QList<QNetworkCookie> cookies; ///< set before the request; one without a domain is for the URL's host
    QByteArray postData; ///< request body; empty = GET
    QUrl webPageUrl; ///< page that the download came from; invalid = unknown
    QVariantMap parameters; ///< extras; "headers" holds a map of custom request headers
    quint64 flags = 0; ///< Flag bits

    friend bool operator==(const AbstractDownloadSourceInfo &, const AbstractDownloadSourceInfo &) = default;
};
