// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/framework/fileidentity.h>
#include <inet/qt/download/records/exportmacro.h>

#include <QString>

/// Which file is a download's own, by the path that it was made or first opened under: what stands there later counts
/// only if it is that very file, whatever its length.
///
/// File operations and writers ask and tell; who takes up a download of an earlier process tells what is known of its
/// file, and forgets it when the run is over. In any thread.
namespace OwnFiles
{

/// From now on this is the one of that path. @param file unknown = the first that is opened
DOWNLOADFRAMEWORK_EXPORT void set(const QString &path, const FileIdentity &file);
DOWNLOADFRAMEWORK_EXPORT void forget(const QString &path);

/// Whether the open file is the one of that path; where none is known, it is from now on.
bool isOwn(const QString &path, int descriptor);
/// Whether the file, found in another way, is known to be the one of that path.
bool isKnown(const QString &path, const FileIdentity &file);
/// Whether the file, found in another way, is known not to be the one of that path.
bool isOther(const QString &path, const FileIdentity &file);

}
