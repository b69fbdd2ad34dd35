// SPDX-License-Identifier: MIT
#pragma once

/// What live lines may be made of.
struct TerminalLook {
    bool unicode = false; ///< false = ASCII only
    bool colour = false; ///< false = no colour codes at all
};
