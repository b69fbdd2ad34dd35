// SPDX-License-Identifier: MIT
#pragma once

#include <cli/clock.h>
#include <cli/progressmode.h>
#include <cli/terminallook.h>

#include <QProcessEnvironment>

/// What a ProgressPrinter is made with.
struct ProgressOptions {
    ProgressMode mode = ProgressMode::Line; ///< not Auto any more
    int terminalFile = -1; ///< descriptor that the notes go to; -1 = no terminal
    bool quiet = false; ///< errors and answers only; events, too, where they are asked for
    QString folder; ///< from where a person on the terminal sees files; empty = from everywhere
    TerminalLook look;
    Clock clock = steadyClock();

    /// Settles what was asked for with what there is: Bar needs a terminal, and TERM other than "dumb"; colour is left
    /// out where NO_COLOR is not empty; characters beyond ASCII need a UTF-8 locale.
    /// @param terminalFile descriptor of the terminal that the notes go to; -1 = they go elsewhere
    static ProgressOptions of(ProgressMode asked, int terminalFile, bool quiet, const QProcessEnvironment &environment);
};
