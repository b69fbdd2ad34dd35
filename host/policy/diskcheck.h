// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/records/abstractdownloadpersistentinfo.h>

/// A record against the disk: what it says was downloaded counts only if the file is there to hold it.
namespace DiskCheck
{

/// First position in the file behind everything that the record says was written.
qint64 endOfDownloaded(const AbstractDownloadFileInfo &file);

/// Whether the sections can be those of one file: in order, each where the one before it ends, from byte 0 up to the
/// file's size and no further, none with more bytes than it is long.
bool areSectionsPlausible(const AbstractDownloadFileInfo &file);

/// Whether the record's progress may be believed. @param lengthOnDisk of the incomplete file; -1 = there is no such
/// file
bool isTrustworthy(const AbstractDownloadPersistentInfo &info, qint64 lengthOnDisk);

/// What repair() had to do.
enum class Repair {
    None, ///< the record may be believed
    CutBack, ///< bytes behind the end of the file count as missing; the others stay
    Forgotten, ///< nothing of its progress could be believed: forgetProgress()
};

/// Leaves in the record only what the disk can hold. @param lengthOnDisk as above
Repair repair(AbstractDownloadPersistentInfo &info, qint64 lengthOnDisk);

/// Whether every byte that the older state of a file says was written is one that the newer state says, too, and in the
/// same file.
bool keepsAllBytes(const AbstractDownloadFileInfo &newer, const AbstractDownloadFileInfo &older);

/// Whether a record that says it is finished has its file in full length under its final name.
/// @param lengthOnDisk of the file that the record names; -1 = there is no such file
bool isWhole(const AbstractDownloadPersistentInfo &info, qint64 lengthOnDisk);

/// Whether the file is a finished one of before, none of whose bytes count any more: whoever was about to fetch it anew
/// had said so, and has not deleted it.
bool isDiscarded(const AbstractDownloadPersistentInfo &info);

/// Without a byte there is nothing that an answer could fit to or not: the next one says anew what the file is. The
/// file itself stays, with its name.
void forgetSectionsWithoutBytes(AbstractDownloadPersistentInfo &info);

/// Makes the record one that begins anew, as it was when the download was added.
void forgetProgress(AbstractDownloadPersistentInfo &info);

}
