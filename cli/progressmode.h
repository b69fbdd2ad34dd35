// SPDX-License-Identifier: MIT
#pragma once

/// How people are told of progress.
enum class ProgressMode {
    Auto, ///< Bar where that is possible, else Line
    Bar, ///< live lines on a terminal that can move its cursor; Line elsewhere
    Line, ///< a plain line for each download now and then
    Json, ///< events for programs; everything else as with None
    None, ///< none; errors and last lines all the same
};
