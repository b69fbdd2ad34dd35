// SPDX-License-Identifier: MIT
#pragma once

#include <host/policy/evidence.h>
#include <host/policy/resourceidentity.h>

#include <QList>
#include <QUrl>

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

    friend bool operator==(const ResourceMemory &, const ResourceMemory &) = default;
};
