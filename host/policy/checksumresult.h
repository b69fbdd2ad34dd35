// SPDX-License-Identifier: MIT
#pragma once

/// How the comparison of a finished file with its checksum came out. The list stores the numbers.
enum class ChecksumResult : int {
    NotCompared = 0,
    Equal = 1,
    Different = 2,
};
