// SPDX-License-Identifier: MIT
#include <host/storage/claimfence.h>

#include <host/storage/storethread.h>

#include <QMutexLocker>

ClaimFence::ClaimFence(StoreThread &list, qint64 id, qint64 fence)
    : m_list(list)
    , m_id(id)
    , m_fence(fence)
{
}

bool ClaimFence::holds()
{
    if (m_isLost)
        return false;
    if (m_list.isSure(m_lapses))
        return true;
    int lapses = 0;
    const Failure lost = m_list.look(m_id, m_fence, &lapses);
    m_lapses = lapses;
    if (lost)
        lose(lost);
    return !lost;
}

void ClaimFence::lose(const Failure &who)
{
    const QMutexLocker lock(&m_mutex);
    m_lost = who;
    m_isLost = true;
}

Failure ClaimFence::lost() const
{
    const QMutexLocker lock(&m_mutex);
    return m_lost;
}
