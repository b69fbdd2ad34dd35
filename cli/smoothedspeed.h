// SPDX-License-Identifier: MIT
#pragma once

#include <QtGlobal>

/// A speed that people can read: the exponential mean of what was measured, with a time constant of three seconds.
class SmoothedSpeed
{
public:
    static constexpr double kTimeConstantMs = 3000;

    /// @param now milliseconds, never less than the last time @param speed measured, bytes/s
    void add(qint64 now, qint64 speed);
    /// Bytes/s. The first speed above 0 counts in full: there is no mean to take with the time before it.
    qint64 value() const { return qRound64(m_value); }

private:
    double m_value = 0;
    qint64 m_last = 0;
};
