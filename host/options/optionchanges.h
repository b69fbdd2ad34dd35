// SPDX-License-Identifier: MIT
#pragma once

#include <host/options/downloadoptions.h>
#include <host/options/optionvalues.h>

#include <QList>
#include <QString>
#include <QVariantMap>

/// What of a download's options was given anew; all else stays as the list has it.
struct OptionChanges {
    OptionValues values; ///< of those that the list keeps for each download
    QVariantMap headers; ///< as those of DownloadRequest, for downloads of the list
    QVariantMap headersForAll; ///< likewise
    QList<SecretHeader> secretHeaders; ///< those of them that are not harmless; besides the earlier ones
    bool storeSecrets = false; ///< from now on, these and the values of headers:
    QString user;
    QString password;

    void applyTo(DownloadOptions &options) const;

    friend bool operator==(const OptionChanges &, const OptionChanges &) = default;
};
