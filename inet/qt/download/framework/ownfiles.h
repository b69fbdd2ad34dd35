// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/framework/fileidentity.h>
#include <inet/qt/download/records/exportmacro.h>

#include <QString>

#include <functional>

/// Which file is a download's own, by the path that it was made or first opened under: what stands there later counts
/// only if it is that very file, whatever its length.
///
/// File operations and writers ask and tell; who takes up a download of an earlier process tells what is known of its
/// file, and forgets it when the run is over. Whoever may lose a file to another process while he works on it says how
/// that shows, too. In any thread.
namespace OwnFiles
{

/// From now on this is the one of that path. @param file unknown = the first that is opened
DOWNLOADFRAMEWORK_EXPORT void set(const QString &path, const FileIdentity &file);
/// And that it needs a permission.
DOWNLOADFRAMEWORK_EXPORT void forget(const QString &path);

/// Asked before everything that is done to a file, in the thread that is about to do it, and for every block of data:
/// to be quick as a rule. False = it is somebody else's, and stays as it is.
using Permission = std::function<bool()>;
/// Of the file of that path, or of the one that will be made there; who has opened it already goes by what held then.
DOWNLOADFRAMEWORK_EXPORT void setPermission(const QString &path, const Permission &mayChange);
/// Empty = nobody has to be asked.
Permission permission(const QString &path);
DOWNLOADFRAMEWORK_EXPORT bool mayChange(const QString &path);

/// Of the file operations that are to make a file of that path, or of another name where that one is taken: those that
/// are asked for next take it along. @param mayMake empty = nobody has to be asked any more
DOWNLOADFRAMEWORK_EXPORT void setPermissionToMake(const QString &path, const Permission &mayMake);
/// Once; empty = nobody has to be asked.
Permission takePermissionToMake(const QString &path);

/// Whether the open file is the one of that path; where none is known, it is from now on.
bool isOwn(const QString &path, int descriptor);
/// Whether the file, found in another way, is known to be the one of that path.
bool isKnown(const QString &path, const FileIdentity &file);
/// Whether the file, found in another way, is known not to be the one of that path.
bool isOther(const QString &path, const FileIdentity &file);

}
