// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/framework/fileidentity.h>

#include <QDateTime>
#include <QString>

/// When a file was changed last, as its server says.
namespace FileTime
{

/// Gives the file that time. @param file what it is known by; another one, a link and one that is not known are left
/// alone @return whether the file has it
bool set(const QString &path, const FileIdentity &file, const QDateTime &time);

}
