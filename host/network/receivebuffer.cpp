// SPDX-License-Identifier: MIT
#include <host/network/receivebuffer.h>

#include <algorithm>
#include <utility>

namespace
{

/// A block with little in it stays, to be filled: on a slow link every packet would take one along.
constexpr qsizetype kSmallestShare = 4;

}

void ReceiveBuffer::append(QByteArrayView data, qsizetype blockSize)
{
    m_size += data.size();
    while (!data.isEmpty()) {
        if (m_blocks.empty() || m_blocks.back().size() == m_blocks.back().capacity())
            m_blocks.push_back(m_pool.take(blockSize));
        QByteArray &block = m_blocks.back();
        const qsizetype count = std::min(data.size(), block.capacity() - block.size());
        block.append(data.first(count));
        data = data.sliced(count);
    }
}

void ReceiveBuffer::clear()
{
    m_blocks.clear();
    m_offset = 0;
    m_size = 0;
}

qint64 ReceiveBuffer::read(char *data, qint64 maxSize)
{
    qint64 done = 0;
    while (done < maxSize && m_size > 0) {
        const auto count = qsizetype(std::min<qint64>(maxSize - done, frontSize()));
        std::copy_n(m_blocks.front().constData() + m_offset, count, data + done);
        skip(count);
        done += count;
    }
    return done;
}

QByteArray ReceiveBuffer::takeFront(qint64 maxSize)
{
    if (m_size == 0 || maxSize == 0)
        return {};
    if (isWorthHandingOn(maxSize)) {
        const QByteArray block = std::exchange(m_blocks.front(), {});
        m_blocks.pop_front();
        m_size -= block.size();
        m_pool.lend(block);
        return block;
    }
    const auto count = qsizetype(maxSize < 0 ? frontSize() : std::min<qint64>(maxSize, frontSize()));
    const QByteArray copy(m_blocks.front().constData() + m_offset, count);
    skip(count);
    return copy;
}

bool ReceiveBuffer::isWorthHandingOn(qint64 maxSize) const
{
    const QByteArray &front = m_blocks.front();
    const bool isWhole = m_offset == 0 && (maxSize < 0 || front.size() <= maxSize);
    return isWhole && front.size() >= front.capacity() / kSmallestShare;
}

void ReceiveBuffer::skip(qsizetype count)
{
    m_size -= count;
    m_offset += count;
    if (m_offset < m_blocks.front().size())
        return;
    m_offset = 0;
    // An only block can be filled once more.
    if (m_blocks.size() == 1)
        m_blocks.front().resize(0);
    if (m_blocks.size() > 1)
        m_blocks.pop_front();
}
