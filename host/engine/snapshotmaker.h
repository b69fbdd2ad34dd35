// SPDX-License-Identifier: MIT
#pragma once

#include <host/engine/downloadoutcome.h>
#include <host/engine/downloadstatus.h>
#include <host/engine/snapshot.h>
#include <host/storage/listentry.h>

/// Makes snapshots of what list and queue know. Pure, so that a row is the same wherever it comes from.
namespace SnapshotMaker
{

/// In which state a download is that is in no queue: Running where another process is at work on it, Done, Failed, or
/// Paused, which is also what is complete and still to be compared with its checksum.
/// @param failure of its last run; none = it had none
DownloadState stateAtRest(const ListEntry &entry, const Failure &failure);
/// The same of a row that has waited, and nothing was done with it.
DownloadState stateAtRest(const Snapshot &row);

/// Of a download at rest.
Snapshot ofEntry(const ListEntry &entry);

/// How its run ended. @param limits that were its own
RunSnapshot runOf(const DownloadOutcome &outcome, const NetworkUsageSettings &limits);

/// Puts in what is going on. @param now what "resting until" is told from
void putStatus(Snapshot &snapshot, const DownloadStatus &status, const QDateTime &now);

SnapshotDetails detailsOf(const AbstractDownloadPersistentInfo &record, const DownloadOptions &options,
                          const QString &contentEncoding, const ResourceMemory &memory);

}
