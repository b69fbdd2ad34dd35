// SPDX-License-Identifier: MIT
#include <host/policy/requestpace.h>

#include <algorithm>

namespace
{

/// Doubling more often leaves any limit behind.
constexpr int kMostDoublings = 20;

}

qint64 RequestPace::begin(const QtHostAndPort &server, qint64 nowMs)
{
    const auto found = m_records.find(server);
    if (found == m_records.end())
        return 0;
    const qint64 wait = found->isAsked ? found->last + waitAfter(*found) - nowMs : 0;
    if (wait > 0)
        return wait;
    found->last = nowMs;
    found->isAsked = true;
    return 0;
}

void RequestPace::note(const QtHostAndPort &server, Outcome outcome)
{
    switch (outcome) {
    case Outcome::Nothing:
        ++m_records[server].nothing;
        break;
    case Outcome::Little:
        m_records[server].nothing = 0;
        ++m_records[server].little;
        break;
    case Outcome::Enough:
        m_records.remove(server);
        break;
    }
}

qint64 RequestPace::waitAfter(const Record &record)
{
    if (record.nothing > kFree)
        return std::min(kFirstWaitMs << std::min(record.nothing - kFree - 1, kMostDoublings), kLongestWaitMs);
    return record.nothing + record.little > kFree ? kSteadyWaitMs : 0;
}
