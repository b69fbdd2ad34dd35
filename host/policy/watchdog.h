// SPDX-License-Identifier: MIT
#pragma once

#include <QtGlobal>

/// Watches over what a module cannot see of itself: a run that neither transfers nor works on files, and one that goes
/// in circles. Fed once a second; says when the run is to be stopped and tried again later.
class Watchdog
{
public:
    /// Longer than every time limit of a transfer, so that those speak first.
    static constexpr qint64 kSilenceMs = 150 * 1000;
    /// Requests within one period ...
    static constexpr qint64 kStormPeriodMs = 5 * 1000;
    static constexpr int kStormRequests = 60;
    /// ... that brought fewer bytes each.
    static constexpr qint64 kStormBytesPerRequest = 16 * 1024;

    /// A run at a moment.
    struct Sample {
        qint64 nowMs = 0; ///< of a clock that only goes forward
        qint64 done = 0; ///< bytes
        qint64 allocated = -1; ///< bytes
        int connections = 0;
        bool filesAreWorkedOn = false;
        int requests = 0; ///< sent since the run began
    };

    enum class Finding {
        Fine,
        Silent, ///< no connection, no file operation and no progress for too long
        Storm, ///< it asks again and again and gets next to nothing
    };

    Finding look(const Sample &sample);

private:
    bool m_hasSample = false;
    Sample m_lastAlive; ///< when something was last seen to happen
    Sample m_periodBegin;
};
