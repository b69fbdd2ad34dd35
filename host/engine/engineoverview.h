// SPDX-License-Identifier: MIT
#pragma once

#include <host/engine/limits.h>
#include <host/engine/totals.h>

#include <QDateTime>

/// What there is to know of an engine beside the rows of its list and its questions. A value.
struct EngineOverview {
    Totals totals; ///< as they were told last
    Limits limits; ///< of all downloads together, and each given; 0 = none. The rate is that of this hour
    int mostAtOnce = 1; ///< so many may be active
    QDateTime outOfHoursUntil; ///< nothing that can wait runs before; invalid = it is an hour for downloads

    friend bool operator==(const EngineOverview &, const EngineOverview &) = default;
};
