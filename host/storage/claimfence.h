// SPDX-License-Identifier: MIT
#pragma once

#include <host/policy/failure.h>

#include <QMutex>
#include <QtGlobal>

#include <atomic>

class StoreThread;

/// Whether a claim still holds, for whoever is about to change the download's file. In any thread but the list's; the
/// list outlives it.
///
///     holds() ── surely, by the clock ──> true
///             ── who knows: the list renews, and reads whose the download is ──> true, or false from then on
///
/// A process that stood still for longer than a lease, or whose machine slept, goes on where it was: between two
/// blocks, or between a block and the final name. By then another one may have the download.
class ClaimFence
{
    Q_DISABLE_COPY_MOVE(ClaimFence)

public:
    /// @param fence of the Lease
    ClaimFence(StoreThread &list, qint64 id, qint64 fence);

    /// As a rule no more than a look at the clock. True also where nobody can tell, as with a list that is gone.
    bool holds();
    /// Somebody else has found that it does not, as with a save that was refused. @param who has it now
    void lose(const Failure &who);
    /// Who has it now, as holds() has found; none = it holds, as far as is known.
    Failure lost() const;

private:
    StoreThread &m_list;
    const qint64 m_id;
    const qint64 m_fence;
    std::atomic<int> m_lapses = 0; ///< that the list had had when the claim was looked at; none of most lists ever has
    std::atomic<bool> m_isLost = false;
    mutable QMutex m_mutex;
    Failure m_lost; ///< beneath it
};
