// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QtGlobal>

/// Identity of a resource, by which two downloads are known to be one, or a resource to have changed.
struct AbstractDownloadGuid {
    /// How the value was made.
    enum Kind : quint32 {
        SourceDerived = 0, ///< from the source alone, before any request
        UrlHashAndEtag = 3, ///< lower-case hexadecimal MD5 of the fully encoded URL, ":" and the strong ETag
    };

    quint32 isSet = 0; ///< 1 when there is an identity
    quint32 kind = 0; ///< a Kind
    QString value;

    /// Nothing is known: no set flag, or no text.
    bool isEmpty() const { return isSet == 0 || value.isEmpty(); }

    friend bool operator==(const AbstractDownloadGuid &, const AbstractDownloadGuid &) = default;
};
