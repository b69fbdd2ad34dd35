// SPDX-License-Identifier: MIT
#include <inet/qt/download/downloadswww/speedperiod.h>

qint64 effectiveDownloadLimit(qint64 own, qint64 global)
{
    if (own == 0)
        return global;
    return global == 0 ? own : qMin(own, global);
}

void SpeedPeriod::add(qint64 bytes, qint64 now)
{
    rollIfOver(now);
    m_bytesThisSecond += bytes;
    m_totalBytes += bytes;
}

qint64 SpeedPeriod::speed(qint64 now)
{
    rollIfOver(now);
    return m_bytesLastSecond != 0 ? m_bytesLastSecond : m_bytesThisSecond;
}

qint64 SpeedPeriod::allowance(qint64 limit, qint64 now)
{
    rollIfOver(now);
    return qMax<qint64>(0, limit - m_bytesThisSecond);
}

void SpeedPeriod::rollIfOver(qint64 now)
{
    // A clock that was set back begins a new second too: a limited transfer would stand still until it has caught up.
    if (now == m_start)
        return;
    m_start = now;
    m_bytesLastSecond = m_bytesThisSecond;
    m_bytesThisSecond = 0;
}
