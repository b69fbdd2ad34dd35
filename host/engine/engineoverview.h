// SPDX-License-Identifier: MIT
#pragma once

#include <host/engine/limits.h>
#include <host/engine/totals.h>

#include <QDateTime>

/// What there is to know of an engine beside the rows of its list and its questions. A value.
struct EngineOverview {
    Totals totals; ///< as they were told last
    Limits limits; ///< of all downloads together, and each given; 0 = none. The rate is that of this hour
    /// So many may be active: as was chosen, or as many as the system lets this process have files and connections for.
    /// What rests until its owner's end is not counted.
    int mostAtOnce = 1;
    QDateTime outOfHoursUntil; ///< nothing that can wait runs before; invalid = it is an hour for downloads

    friend bool operator==(const EngineOverview &, const EngineOverview &) = default;
};
