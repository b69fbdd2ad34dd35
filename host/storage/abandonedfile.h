// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/framework/fileidentity.h>
#include <inet/qt/download/records/abstractdownloadpersistentinfo.h>

/// An incomplete file that a process made in its last moment: the list was never told of it, and the next run would
/// make another one beside it.
namespace AbandonedFile
{

/// Deletes it. Nothing has been written to such a file: only empty ones are touched, under a name that the download
/// would have given them, made in the moments after the list was told that one was about to be made. Where a file
/// system does not know when a file was made, they stay; so does one that somebody has open.
/// @param plan what the list says of the file, see FileIdentity::planned()
/// @param before nanoseconds since 1970; files made later are somebody's who still lives
/// @return how many were deleted
int remove(const AbstractDownloadPersistentInfo &record, const FileIdentity &plan, qint64 before);

}
