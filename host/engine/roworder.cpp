// SPDX-License-Identifier: MIT
#include <host/engine/roworder.h>

#include <algorithm>

qsizetype RowOrder::append(qint64 id)
{
    m_ids.append(id);
    return m_ids.size() - 1;
}

void RowOrder::remove(qint64 id)
{
    const qsizetype position = positionOf(id);
    if (position >= 0)
        m_ids.removeAt(position);
}

qsizetype RowOrder::move(qint64 id, qint64 position)
{
    const qsizetype from = positionOf(id);
    if (from < 0)
        return -1;
    const qsizetype to = std::clamp<qint64>(position, 0, m_ids.size() - 1);
    m_ids.move(from, to);
    return to;
}
