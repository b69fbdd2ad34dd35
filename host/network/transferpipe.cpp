// SPDX-License-Identifier: MIT
#include <host/network/transferpipe.h>

#include <algorithm>
#include <bit>
#include <utility>

namespace
{

/// Whoever is told of a head may want to receive slowly: the first burst would be through by then.
constexpr qint64 kBeforeHeadIsTold = 16 * 1024;

/// A smaller window is a wish to be held back; a larger one is about what is shown only.
constexpr qint64 kSmallestFreeWindow = 128 * 1024;

constexpr quint64 kSmallestBlock = 4096;

/// Windows of nearly the same size have to use each other's blocks.
qsizetype blockSizeFor(qint64 capacity)
{
    return qsizetype(std::max(std::bit_floor(quint64(capacity)), kSmallestBlock));
}

/// So much is worth waking the reader while more is coming in.
constexpr qint64 kTellAt = 256 * 1024;

}

TransferPipe::TransferPipe(std::shared_ptr<TransferMeans> means)
    : m_means(std::move(means))
    , m_buffer(m_means->pool)
{
}

void TransferPipe::putHead(const Head &head)
{
    const std::lock_guard lock(m_mutex);
    m_head = head;
    tell();
}

bool TransferPipe::putBody(QByteArrayView data)
{
    const std::lock_guard lock(m_mutex);
    m_buffer.append(data, std::min(m_means->budget.blockSize(), blockSizeFor(capacity())));
    // Once paused, the writing side brings what it has in hand, and waits for the word to go on whatever is read
    // meanwhile.
    m_isPaused = m_isPaused || m_buffer.size() >= capacity();
    m_untold += data.size();
    // An answer is welcome by its first byte, and others wait for it.
    if (!std::exchange(m_hasBody, true) || m_isPaused || m_untold >= kTellAt)
        tell();
    return !m_isPaused;
}

void TransferPipe::tellBody()
{
    const std::lock_guard lock(m_mutex);
    if (m_untold > 0)
        tell();
}

void TransferPipe::putEnd(const End &end)
{
    const std::lock_guard lock(m_mutex);
    m_end = end;
    tell();
}

void TransferPipe::setNews(std::function<void()> news)
{
    const std::lock_guard lock(m_mutex);
    m_news = std::move(news);
}

void TransferPipe::acknowledge()
{
    const std::lock_guard lock(m_mutex);
    m_newsAreOnTheirWay = false;
}

std::optional<TransferPipe::Head> TransferPipe::takeHead()
{
    const std::lock_guard lock(m_mutex);
    return std::exchange(m_head, std::nullopt);
}

void TransferPipe::headIsTold()
{
    const std::lock_guard lock(m_mutex);
    m_isHeadTold = true;
}

qint64 TransferPipe::size() const
{
    const std::lock_guard lock(m_mutex);
    return m_buffer.size();
}

std::optional<TransferPipe::End> TransferPipe::end() const
{
    const std::lock_guard lock(m_mutex);
    return m_end;
}

qint64 TransferPipe::read(char *data, qint64 maxSize)
{
    const std::lock_guard lock(m_mutex);
    return m_buffer.read(data, maxSize);
}

QByteArray TransferPipe::takeBlock(qint64 maxSize)
{
    const std::lock_guard lock(m_mutex);
    return m_buffer.takeFront(maxSize);
}

void TransferPipe::setWindow(qint64 size)
{
    const std::lock_guard lock(m_mutex);
    m_window = size;
}

void TransferPipe::setLimit(qint64 bytes)
{
    const std::lock_guard lock(m_mutex);
    m_limit = bytes;
}

void TransferPipe::clear()
{
    const std::lock_guard lock(m_mutex);
    m_buffer.clear();
}

/// Not before half of the room is free: stopping and going on has its price.
bool TransferPipe::wantsMore()
{
    const std::lock_guard lock(m_mutex);
    if (!m_isPaused || m_buffer.size() > capacity() / 2)
        return false;
    m_isPaused = false;
    return true;
}

qint64 TransferPipe::capacity() const
{
    if (!m_isHeadTold)
        return kBeforeHeadIsTold;
    const bool isHeldBack = m_window > 0 && m_window < kSmallestFreeWindow;
    const qint64 room = isHeldBack ? m_window : m_means->budget.capacity();
    return m_limit > 0 ? std::min(m_limit, room) : room;
}

void TransferPipe::tell()
{
    m_untold = 0;
    if (!m_news || std::exchange(m_newsAreOnTheirWay, true))
        return;
    m_news();
}
