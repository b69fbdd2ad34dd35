// SPDX-License-Identifier: MIT
#include <host/network/blockpool.h>

#include <utility>

namespace
{

/// What was lent first is mostly back first; looking further costs more than a new block.
constexpr size_t kLooksAt = 8;

/// The last copy may have been dropped in another thread: what was read there happened before what is written here.
bool isBack(QByteArray &block)
{
    const auto *const data = block.data_ptr().d_ptr();
    return !data || data->ref_.loadAcquire() == 1;
}

}

QByteArray BlockPool::take(qsizetype capacity)
{
    const std::lock_guard lock(m_mutex);
    std::deque<QByteArray> &blocks = m_blocks[capacity];
    for (size_t i = 0; i < blocks.size() && i < kLooksAt; ++i) {
        QByteArray block = std::move(blocks.front());
        blocks.pop_front();
        if (isBack(block)) {
            block.resize(0);
            return block;
        }
        blocks.push_back(std::move(block));
    }
    QByteArray block;
    block.reserve(capacity);
    return block;
}

void BlockPool::lend(const QByteArray &block)
{
    const std::lock_guard lock(m_mutex);
    m_blocks[block.capacity()].push_back(block);
}

void BlockPool::shrink()
{
    const std::lock_guard lock(m_mutex);
    for (auto &[capacity, blocks] : m_blocks)
        std::erase_if(blocks, isBack);
}

qint64 BlockPool::held() const
{
    const std::lock_guard lock(m_mutex);
    qint64 bytes = 0;
    for (const auto &[capacity, blocks] : m_blocks)
        bytes += capacity * qint64(blocks.size());
    return bytes;
}
