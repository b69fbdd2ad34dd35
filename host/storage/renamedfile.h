// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/framework/fileidentity.h>
#include <inet/qt/download/records/abstractdownloadpersistentinfo.h>

/// A file that got its final name in the last moment of a process: the list still has it as incomplete.
namespace RenamedFile
{

/// Gives it the name back that the record knows, so that the record's progress counts and the rest is done again.
/// Replaces nothing. @param file what the list says of the incomplete file, which is known by that and by nothing else
/// @return whether there was such a file
bool takeBack(const AbstractDownloadPersistentInfo &record, const FileIdentity &file);

}
