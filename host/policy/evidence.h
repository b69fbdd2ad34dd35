// SPDX-License-Identifier: MIT
#pragma once

#include <host/policy/checksumresult.h>
#include <host/policy/resourceidentity.h>

#include <QByteArray>
#include <QString>
#include <QUrl>

/// How sure it is that a finished file is the one that the server has. The list and --json use the words of keyOf().
enum class Assurance : int {
    Unproven = 0, ///< nothing contradicts it, and nothing proves it either
    Consistent = 1, ///< one whole answer, or all parts under one strong validator
    Verified = 2, ///< a digest of it was compared
};

/// What proves that the bytes of a download belong together: kept while its answers come, and in the list. A value; it
/// never grows better, so that one that is older than the bytes beside it claims nothing too much.
struct Evidence {
    /// Why the parts prove nothing. The list stores the numbers.
    enum class Doubt : int {
        None = 0,
        WeakValidator = 1, ///< the parts have only a weak ETag or a date in common
        ValidatorVanished = 2, ///< only some of the parts had a strong one
        NothingIdentifies = 3, ///< the server names nothing that would change with the file
        SeveralAddresses = 4, ///< the parts came from different addresses
        NoLength = 5, ///< nothing said where the file ends but the end of the connection
        Unknown = 6, ///< parts came before anybody kept this
        FinishedEarly = 7, ///< a person was content with what was there
    };

    /// An answer that brings bytes.
    struct Answer {
        QUrl address; ///< that a person gave and that led to it
        ResourceIdentity identity;
        bool isEndKnown = true; ///< its own framing says where it ends
    };

    int answers = 0; ///< that brought bytes; those beyond the second count as two
    Doubt doubt = Doubt::None; ///< the first that arose
    bool isEndKnown = true; ///< some answer said where the file ends
    QUrl address; ///< of the first answer
    QByteArray etag; ///< the strong one of the first answer; empty = none
    /// How the finished file compares with the digest that the server itself names.
    ChecksumResult digest = ChecksumResult::NotCompared;

    /// Of bytes that came before anybody kept this: a validator in their record is that of the first of them.
    static Evidence ofOldBytes();
    void add(const Answer &answer);

    /// Of a file that is finished. @param isVerified its digest was compared, and is the right one
    Assurance assurance(bool isVerified) const;
    /// Why a finished file is unproven; None where it is not.
    Doubt reason() const;

    friend bool operator==(const Evidence &, const Evidence &) = default;
};

/// "verified", "consistent" or "unproven".
QString keyOf(Assurance assurance);
