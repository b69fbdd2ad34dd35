// SPDX-License-Identifier: MIT
#pragma once

#include <tests/honesty/exhibit.h>

/// Frames of scripts that several rooms of exhibits use.
namespace Scripts
{
/// Version number 0 to the request that a visit begins with, then `answer`.
Exhibit::Script later(const Exhibit::Script &answer);
/// Version number 0, but `answer` to all later requests for a range.
Exhibit::Script laterRanges(const Exhibit::Script &answer);
/// The first version at the beginning, the other one from the second request on.
Exhibit::Script changed(const FileVersion &first, const FileVersion &then);
/// The one and the other in turn.
Exhibit::Script inTurn(const FileVersion &one, const FileVersion &other);
/// A page for people, with this status.
ScriptedResponse page(int status, const QByteArray &words);
}
