// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QtGlobal>

/// Files as they are opened to be written: plain ones only, and never through a link. What else may stand in a folder
/// under a file's name is not even touched: a pipe would be waited for, a device may do anything. Links in the way to
/// the folder are followed: which folder it is, is the person's own choice.
namespace PlainFile
{

/// In the place of the system's error number: another file than the one that was meant.
inline constexpr int kAnotherFile = -1;
/// The same: the file is another process's (OwnFiles::setPermission()).
inline constexpr int kTaken = -2;

/// @param flags O_CREAT and the like; to read and write, where they do not say otherwise
/// @param error the system's error number, where the answer is -1; ENOTSUP = no plain file
/// @return a descriptor, which is the caller's to close
int open(int folder, const QString &name, int flags, int &error);
int open(const QString &path, int flags, int &error);

/// Why it was that, for people; without a full stop. @param path absolute
QString reason(const QString &path, int error);

/// Whether the reason is what stands in the file's place.
bool isInTheWay(int error);

}
