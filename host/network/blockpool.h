// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>

#include <deque>
#include <map>
#include <mutex>

/// Memory for received bytes, used again as soon as whoever got it has let go of it.
///
/// A block is a QByteArray with room for more than it holds. Who fills it is its only owner. Handed on, it is lent: the
/// copies that travel share its memory, to the module and to its writer, and when the last one is gone the pool has it
/// back by itself. So nobody has to give anything back, and it does not matter who lets go of it last, in which thread.
///
/// Thread-safe.
class BlockPool
{
    Q_DISABLE_COPY_MOVE(BlockPool)

public:
    BlockPool() = default;

    /// An empty block with room for @p capacity bytes.
    QByteArray take(qsizetype capacity);
    /// From now on the block's memory is not written to before all copies but the pool's own are gone.
    void lend(const QByteArray &block);
    /// Returns to the system what nobody uses at the moment.
    void shrink();

    /// Bytes of all blocks that are lent or wait for their next use.
    qint64 held() const;

private:
    mutable std::mutex m_mutex;
    std::map<qsizetype, std::deque<QByteArray>> m_blocks; ///< by capacity; what was lent first comes first
};
