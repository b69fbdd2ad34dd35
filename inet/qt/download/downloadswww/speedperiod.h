// SPDX-License-Identifier: MIT
#pragma once

#include <QtGlobal>

/// The smaller of two limits in bytes/s, where 0 means none.
qint64 effectiveDownloadLimit(qint64 own, qint64 global);

/// Bytes received by seconds of the clock: in the second that runs, and in the one before. Seconds are since the epoch.
class SpeedPeriod
{
public:
    void add(qint64 bytes, qint64 now);
    /// Bytes/s: what the last full second brought, or what this one has brought so far.
    qint64 speed(qint64 now);
    /// How much of a limit above 0 is left in this second.
    qint64 allowance(qint64 limit, qint64 now);
    /// Everything that was ever added.
    qint64 totalBytes() const { return m_totalBytes; }

private:
    void rollIfOver(qint64 now);

    qint64 m_start = 0;
    qint64 m_bytesThisSecond = 0;
    qint64 m_totalBytes = 0;
    qint64 m_bytesLastSecond = 0;
};
