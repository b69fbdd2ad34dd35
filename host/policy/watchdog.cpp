// SPDX-License-Identifier: MIT
#include <host/policy/watchdog.h>

Watchdog::Finding Watchdog::look(const Sample &sample)
{
    const bool isAlive = !m_hasSample || sample.connections > 0 || sample.filesAreWorkedOn
        || sample.done != m_lastAlive.done || sample.allocated != m_lastAlive.allocated;
    if (!m_hasSample)
        m_periodBegin = sample;
    m_hasSample = true;
    if (isAlive)
        m_lastAlive = sample;
    else if (sample.nowMs - m_lastAlive.nowMs >= kSilenceMs)
        return Finding::Silent;

    const int requests = sample.requests - m_periodBegin.requests;
    const qint64 bytes = sample.done - m_periodBegin.done;
    if (requests >= kStormRequests && bytes < requests * kStormBytesPerRequest)
        return Finding::Storm;
    if (sample.nowMs - m_periodBegin.nowMs >= kStormPeriodMs)
        m_periodBegin = sample;
    return Finding::Fine;
}
