// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

/// A header that a person gave for a download and that is not harmless (see HarmlessHeaders). A value.
struct SecretHeader {
    QString name;
    QString value; ///< null = not known any more: the list keeps it only for who asked for that
    /// Whose it is, as Origin::toString() has it; empty = of the server of the download's address; kEverywhere = of all
    /// servers that the download leads to.
    QString origin;

    static constexpr QLatin1StringView kEverywhere{"*"};

    bool isEverywhere() const { return origin == kEverywhere; }
    /// The two are one header, given twice.
    bool isSameAs(const SecretHeader &other) const
    {
        return name.compare(other.name, Qt::CaseInsensitive) == 0 && origin == other.origin;
    }

    friend bool operator==(const SecretHeader &, const SecretHeader &) = default;
};
