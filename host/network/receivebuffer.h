// SPDX-License-Identifier: MIT
#pragma once

#include <host/network/blockpool.h>

#include <QByteArrayView>

#include <deque>

/// Bytes between the wire and their reader, in blocks of a pool. Not thread-safe.
class ReceiveBuffer
{
    Q_DISABLE_COPY_MOVE(ReceiveBuffer)

public:
    /// @param pool outlives this
    explicit ReceiveBuffer(BlockPool &pool)
        : m_pool(pool)
    {
    }

    /// @param blockSize of a block that has to be begun, in bytes
    void append(QByteArrayView data, qsizetype blockSize);
    qint64 size() const { return m_size; }
    bool isEmpty() const { return m_size == 0; }
    void clear();

    /// Copies at most @p maxSize bytes; returns how many.
    qint64 read(char *data, qint64 maxSize);
    /// Bytes from the front, @p maxSize of them at most (-1 = as many as come without copying). The block itself is
    /// handed on where that is possible and worth it.
    QByteArray takeFront(qint64 maxSize);

private:
    qsizetype frontSize() const { return m_blocks.front().size() - m_offset; }
    bool isWorthHandingOn(qint64 maxSize) const;
    void skip(qsizetype count);

    BlockPool &m_pool;
    std::deque<QByteArray> m_blocks; ///< none but an only one is empty
    qsizetype m_offset = 0; ///< of the first byte that was not read, in the first block
    qint64 m_size = 0;
};
