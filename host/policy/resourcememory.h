// SPDX-License-Identifier: MIT
#pragma once

#include <host/parsing/checksum.h>
#include <host/policy/evidence.h>
#include <host/policy/resourceidentity.h>

#include <QList>
#include <QUrl>

#include <optional>

/// An address that a person gave, and what answered there.
struct KnownAddress {
    QUrl url;
    QUrl target; ///< where its redirects led at last; empty = it answers itself
    int redirects = 0; ///< on the way there
    ResourceIdentity identity; ///< of what answered

    friend bool operator==(const KnownAddress &, const KnownAddress &) = default;
};

/// What is remembered of an unfinished download's resource, from one answer to the next and from one run to the next.
struct ResourceMemory {
    QList<KnownAddress> addresses; ///< no URL twice
    Evidence evidence;

    /// What the file must have: the digest of where its first part came from, else the first that another of its
    /// addresses names. Nothing where none does.
    std::optional<Checksum> digest() const;

    friend bool operator==(const ResourceMemory &, const ResourceMemory &) = default;
};
