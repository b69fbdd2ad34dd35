// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

/// What a fake download does on start, by the path of its URL. Every other path runs until it is stopped.
namespace FakePaths
{
inline const QString kDone = QStringLiteral("/done"); ///< writes the file and finishes
inline const QString kLies = QStringLiteral("/lies"); ///< says it has finished and writes nothing
inline const QString kFails = QStringLiteral("/fails"); ///< ends with status 404 and keeps a section
inline const QString kNothing = QStringLiteral("/nothing"); ///< begins no run at all
}
