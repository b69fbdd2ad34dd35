// SPDX-License-Identifier: MIT
#pragma once

#include <QUrl>

/// Another place where the same bytes are served.
struct AbstractDownloadMirrorInfo {
    QUrl url;
    QUrl webPageUrl; ///< page that names this mirror; invalid = unknown

    friend bool operator==(const AbstractDownloadMirrorInfo &, const AbstractDownloadMirrorInfo &) = default;
};
