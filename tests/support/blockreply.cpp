// SPDX-License-Identifier: MIT
#include <tests/support/blockreply.h>

#include <algorithm>

void BlockReply::sendBlock(const QByteArray &block)
{
    addBlock(block);
    Q_EMIT readyRead();
}

void BlockReply::addBlock(const QByteArray &block)
{
    m_blocks.append(block);
}

qint64 BlockReply::bytesHeld() const
{
    qint64 size = 0;
    for (const QByteArray &block : m_blocks)
        size += block.size();
    return size;
}

QByteArray BlockReply::takeBlock(qint64 maxSize)
{
    m_asked.append(maxSize);
    if (m_blocks.isEmpty())
        return {};
    if (maxSize < 0 || maxSize >= m_blocks.first().size())
        return m_blocks.takeFirst();
    const QByteArray part = m_blocks.first().left(maxSize);
    m_blocks.first().remove(0, maxSize);
    return part;
}

qint64 BlockReply::bytesAvailable() const
{
    return std::min(bytesHeld(), readBufferSize());
}
