// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

/// Where a list is to be kept. A value.
struct StoreChoice {
    QString path = {}; ///< of its file, as a person named it; empty = the usual place
    bool isKept = true; ///< false = in memory only
};
