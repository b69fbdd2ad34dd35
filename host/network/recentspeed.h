// SPDX-License-Identifier: MIT
#pragma once

#include <QtGlobal>

#include <utility>

/// How fast bytes come: as many as the last full second brought, or this one so far, where that brought none. It is
/// told the time, in milliseconds of a clock that never goes back. A value.
class RecentSpeed
{
public:
    void add(qint64 bytes, qint64 nowMs)
    {
        const auto [last, current] = seconds(nowMs);
        m_second = nowMs / kSecondMs;
        m_last = last;
        m_current = current + bytes;
    }
    /// bytes/s
    qint64 at(qint64 nowMs) const
    {
        const auto [last, current] = seconds(nowMs);
        return last > 0 ? last : current;
    }

private:
    static constexpr qint64 kSecondMs = 1000;

    /// What the second before that moment brought, and what that moment's own.
    std::pair<qint64, qint64> seconds(qint64 nowMs) const
    {
        const qint64 passed = nowMs / kSecondMs - m_second;
        if (passed == 0)
            return {m_last, m_current};
        return {passed == 1 ? m_current : 0, 0};
    }

    qint64 m_second = 0;
    qint64 m_last = 0;
    qint64 m_current = 0;
};
