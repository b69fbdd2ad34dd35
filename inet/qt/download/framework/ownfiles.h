// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/framework/fileidentity.h>
#include <inet/qt/download/records/exportmacro.h>

#include <QList>
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
/// Unknown = none is known.
FileIdentity at(const QString &path);
/// Unless another download has made its own of that path by now. @param file unknown = whosever it is
DOWNLOADFRAMEWORK_EXPORT void forget(const QString &path, const FileIdentity &file = {});

/// Asked before everything that is done to a file, in the thread that is about to do it, and for every block of data:
/// to be quick as a rule. False = it is somebody else's, and stays as it is.
using Permission = std::function<bool()>;
/// Of the file of that path, or of the one that will be made there; who has opened it already goes by what held then.
/// @return what takes it back, and no later one of the same path
DOWNLOADFRAMEWORK_EXPORT quint64 setPermission(const QString &path, const Permission &mayChange);
DOWNLOADFRAMEWORK_EXPORT void takeBackPermission(const QString &path, quint64 number);
/// Empty = nobody has to be asked.
Permission permission(const QString &path);
DOWNLOADFRAMEWORK_EXPORT bool mayChange(const QString &path);

/// What holds for a file that is to be made.
struct Making {
    Permission mayMake; ///< empty = nobody has to be asked
    /// Of other downloads, incomplete, and not to be begun anew in their place, whatever was said of files in the way.
    QList<FileIdentity> others;
};
/// Of the file operations that are to make a file of that path, or of another name where that one is taken: those that
/// are asked for next take it along.
DOWNLOADFRAMEWORK_EXPORT void setMaking(const QString &path, const Making &making);
DOWNLOADFRAMEWORK_EXPORT void endMaking(const QString &path);
/// Once.
Making takeMaking(const QString &path);

/// Whether the open file is the one of that path; where none is known, it is from now on.
bool isOwn(const QString &path, int descriptor);
/// Whether it is any download's, under whatever path.
DOWNLOADFRAMEWORK_EXPORT bool isAnyones(const FileIdentity &file);
/// Whether the file, found in another way, is known to be the one of that path.
bool isKnown(const QString &path, const FileIdentity &file);
/// Whether the file, found in another way, is known not to be the one of that path.
bool isOther(const QString &path, const FileIdentity &file);

}
