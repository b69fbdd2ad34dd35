// SPDX-License-Identifier: MIT
#pragma once

#include <host/options/downloadoptions.h>

#include <QList>
#include <QString>
#include <QVariantMap>

#include <optional>

/// What of a download's options was given anew; all else stays as the list has it.
struct OptionChanges {
    std::optional<qint64> rateLimit;
    std::optional<int> connections;
    std::optional<int> connectionsPerServer;
    std::optional<int> onChanged;
    std::optional<int> onUnresumable;
    std::optional<bool> skipExisting;
    QString checksumAlgorithm; ///< empty = not given
    QString checksumHex;
    QVariantMap headers; ///< as those of DownloadRequest, for downloads of the list
    QVariantMap headersForAll; ///< likewise
    QList<SecretHeader> secretHeaders; ///< those of them that are not harmless; besides the earlier ones
    bool insecure = false; ///< from now on
    bool storeSecrets = false; ///< from now on, these and the values of headers:
    QString user;
    QString password;

    void applyTo(DownloadOptions &options) const;
};
