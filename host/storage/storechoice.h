// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

/// Where a list is to be kept. A value.
struct StoreChoice {
    QString path = {}; ///< of its file, as a person named it; empty = the usual place
    bool isKept = true; ///< false = in memory only
    bool isNeeded = false; ///< what is there is to be worked on: where that cannot be written, memory will not do
    bool isForReading = false; ///< nothing is to be changed: one that cannot be written will do
};
