// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QtGlobal>

/// What a disk has free, and what a file takes of it. Asks the disk; from any thread.
namespace DiskRoom
{

/// Bytes that may still be written into the folder or, where it is not there yet, into the nearest one above it. -1 =
/// nobody knows.
qint64 freeIn(const QString &folder);
/// Bytes of its disk that the file takes, which of one with holes are fewer than it is long. 0 = there is no such file.
qint64 takenBy(const QString &path);

}
