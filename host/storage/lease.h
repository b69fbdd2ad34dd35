// SPDX-License-Identifier: MIT
#pragma once

#include <host/options/downloadoptions.h>
#include <host/policy/resourcememory.h>
#include <host/storage/listentry.h>
#include <inet/qt/download/framework/fileidentity.h>
#include <inet/qt/download/records/abstractdownloadpersistentinfo.h>

#include <QString>
#include <QtGlobal>

/// A download while it is somebody's: all that the list has of it, read at the moment of the claim, and the number of
/// that claim.
///
///     list ── claim() ──> Lease ──> a run, which writes under its number ──> Lease ──> the next run ── … ──> release()
///
/// So a run begins with one question to the list, and whoever holds a lease asks nothing that it says. A value.
struct Lease {
    AbstractDownloadPersistentInfo record;
    DownloadOptions options;
    FileIdentity file; ///< of its incomplete file; unknown = there was none
    QString contentEncoding; ///< as which its bytes came; empty = none
    ResourceMemory memory;
    qint64 fence = 0; ///< number of the claim: larger with each that anybody makes; 0 = the store has none

    /// The line that the list has of it. Its owner is left out.
    ListEntry entry() const;
};
