// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/records/abstractdownloadpersistentinfo.h>

/// A record against the disk: what it says was downloaded counts only if the file is there to hold it.
namespace DiskCheck
{

/// First position in the file behind everything that the record says was written.
qint64 endOfDownloaded(const AbstractDownloadFileInfo &file);

/// Whether the record's progress may be believed. @param lengthOnDisk of the incomplete file; -1 = there is no such
/// file
bool isTrustworthy(const AbstractDownloadPersistentInfo &info, qint64 lengthOnDisk);

/// Whether a record that says it is finished has its file in full length under its final name.
/// @param lengthOnDisk of the file that the record names; -1 = there is no such file
bool isWhole(const AbstractDownloadPersistentInfo &info, qint64 lengthOnDisk);

/// Makes the record one that begins anew, as it was when the download was added.
void forgetProgress(AbstractDownloadPersistentInfo &info);

}
