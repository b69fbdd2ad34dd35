// SPDX-License-Identifier: MIT
#pragma once

#include <QList>
#include <QtGlobal>

/// In which order downloads stand in the list, the first to begin first. A value.
class RowOrder
{
public:
    /// @param ids in their order
    explicit RowOrder(const QList<qint64> &ids = {})
        : m_ids(ids)
    {
    }

    const QList<qint64> &ids() const { return m_ids; }
    qsizetype size() const { return m_ids.size(); }
    bool contains(qint64 id) const { return m_ids.contains(id); }
    /// -1 = it is not there.
    qsizetype positionOf(qint64 id) const { return m_ids.lastIndexOf(id); }

    /// Behind all others. Its position.
    qsizetype append(qint64 id);
    void remove(qint64 id);
    /// To a place that is brought within bounds; that place. -1 = it is not there.
    qsizetype move(qint64 id, qint64 position);

private:
    QList<qint64> m_ids;
};
