// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/framework/statetable.h>

/// In which state a download is, for whoever looks at it.
enum class DownloadState {
    Waiting, ///< for its turn
    Running,
    Resting, ///< until the next attempt
    Asking, ///< a person, how to go on
    Checking, ///< whether its server still has the file
    Hashing, ///< the finished file is being compared with its checksum
    Paused, ///< in no queue; what is there is kept
    Failed, ///< likewise, and there is a reason
    Done,
    Removed, ///< no longer in the list
};

/// Where the log has changes of state, those of modules, too.
constexpr int kStateLogLevel = 5;

/// Which of them may follow which.
const StateTable<DownloadState> &downloadStates();
