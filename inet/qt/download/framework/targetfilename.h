// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/records/exportmacro.h>

#include <QString>

/// Names of target files. Pure; lengths are counted in bytes of UTF-8, as file systems do.
namespace TargetFileName
{

/// A folder's entry may be 255 bytes long, of which ".part" takes five.
inline constexpr qsizetype kMaxBytes = 250;

/// A name that can stand in a folder, whatever the network said. Never empty.
QString safe(const QString &name);
/// The name for the last component of a path. One that a person typed (`isChosen`) stays as it is, unless no file can
/// be called so; one from the network is made safe.
DOWNLOADFRAMEWORK_EXPORT QString fromPath(const QString &path, bool isChosen);
/// "name (2).ext" for 2: the extension is kept, the name is shortened where needed.
QString numbered(const QString &name, int number);

/// The name while the file is incomplete.
DOWNLOADFRAMEWORK_EXPORT QString partOf(const QString &finalName);
/// Whether the name is that of an incomplete file.
bool isPart(const QString &name);
/// The name without the mark of an incomplete file.
QString finalOf(const QString &partName);

}
