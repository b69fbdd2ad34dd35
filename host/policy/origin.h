// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QUrl>

/// Scheme, host and port: the border that a secret does not cross. Pure.
struct Origin {
    QString scheme;
    QString host;
    int port = -1; ///< the scheme's own where the URL names none; -1 = unknown

    static Origin of(const QUrl &url);
    /// Whether there is a host at all; only then does anything belong to it.
    bool isValid() const { return !scheme.isEmpty() && !host.isEmpty() && port > 0; }
    QString toString() const;

    friend bool operator==(const Origin &, const Origin &) = default;
};

size_t qHash(const Origin &origin, size_t seed = 0) noexcept;
