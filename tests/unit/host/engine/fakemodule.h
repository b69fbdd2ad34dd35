// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

/// What a fake download does on start, and at a check, by the path of its URL. Every other path runs until it is
/// stopped.
namespace FakePaths
{
inline const QString kDone = QStringLiteral("/done"); ///< writes the file and finishes
inline const QString kLies = QStringLiteral("/lies"); ///< says it has finished and writes nothing
inline const QString kFails = QStringLiteral("/fails"); ///< ends with status 404 and keeps a section
inline const QString kNothing = QStringLiteral("/nothing"); ///< begins no run at all
inline const QString kChecksForEver = QStringLiteral("/checks-for-ever"); ///< never finds out whether it has changed
/// One step of the query for each run of this address, the last one for all that follow: "done", "run" (until it is
/// stopped), "silent" (the same without a connection), "taken" (the file is there and is to be left alone), or
/// "fail/CATEGORY/CODE[/BYTES[?][+][/HEADER LINE]]", which has so many bytes then (with "?" of a file of unknown size,
/// with
/// "+" of one whose rest will be sent alone); parted by ";".
inline const QString kSteps = QStringLiteral("/steps");
}
