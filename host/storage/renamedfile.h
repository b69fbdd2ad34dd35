// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/framework/fileidentity.h>
#include <inet/qt/download/records/abstractdownloadpersistentinfo.h>

/// A file whose name is not what it should be: it got its final one in the last moment of a process, and the list still
/// has it as incomplete; or another program has begun it under that.
namespace RenamedFile
{

/// Gives what got its final name the one back that the record knows, so that the record's progress counts and the rest
/// is done again. Replaces nothing. @param file what the list says of the incomplete file, which is known by that and
/// by nothing else
/// @return whether there was such a file
bool takeBack(const AbstractDownloadPersistentInfo &record, const FileIdentity &file);

/// From its final name to that of an incomplete file, and back. Replaces nothing; false where it did not work.
bool toIncomplete(const QString &path);
bool toFinal(const QString &path);

}
