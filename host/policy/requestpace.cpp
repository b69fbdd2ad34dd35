// SPDX-License-Identifier: MIT
#include <host/policy/requestpace.h>

#include <algorithm>

namespace
{

/// Doubling more often leaves any limit behind.
constexpr int kMostDoublings = 20;

}

qint64 RequestPace::begin(const QtHostAndPort &server, qint64 nowMs, qint64 askedMs)
{
    forgetOld(nowMs);
    const auto found = m_records.find(server);
    if (found == m_records.end())
        return 0;
    const qint64 wait = found->isAsked ? found->last + waitAfter(*found) - nowMs : 0;
    if (wait > 0)
        return nowMs + wait - askedMs > kPatienceMs ? kTooLong : wait;
    found->last = nowMs;
    found->isAsked = true;
    return 0;
}

void RequestPace::note(const QtHostAndPort &server, Outcome outcome, qint64 nowMs)
{
    forgetOld(nowMs);
    if (outcome == Outcome::Enough) {
        m_records.remove(server);
        return;
    }
    Record &record = m_records[server];
    record.noted = nowMs;
    if (outcome == Outcome::Nothing) {
        ++record.nothing;
        return;
    }
    record.nothing = 0;
    ++record.little;
}

void RequestPace::forgetOld(qint64 nowMs)
{
    m_records.removeIf([nowMs](const auto &record) { return nowMs - record.value().noted >= kMemoryMs; });
}

qint64 RequestPace::waitAfter(const Record &record)
{
    if (record.nothing > kFree)
        return std::min(kFirstWaitMs << std::min(record.nothing - kFree - 1, kMostDoublings), kLongestWaitMs);
    return record.nothing + record.little > kFree ? kSteadyWaitMs : 0;
}
