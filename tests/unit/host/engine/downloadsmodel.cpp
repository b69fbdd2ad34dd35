// SPDX-License-Identifier: MIT
#include <tests/unit/host/engine/downloadsmodel.h>

#include <QPointer>

#include <algorithm>
#include <utility>

DownloadsModel::DownloadsModel(Engine &engine, QObject *parent)
    : QAbstractListModel(parent)
    , m_engine(engine)
{
    connect(&m_engine, &Engine::totalsChanged, this, [this](const Totals &totals) { m_overview.totals = totals; });
}

/// The answer may come when there is no model any more.
void DownloadsModel::load()
{
    ++m_pages;
    m_engine.overview([model = QPointer(this)](const EngineAnswer &answer) {
        if (model && answer.overview)
            model->m_overview = *answer.overview;
    });
    m_engine.snapshots({}, [model = QPointer(this)](const EngineAnswer &page) {
        if (model && --model->m_pages == 0 && page.isOk())
            model->take(page);
    });
}

void DownloadsModel::take(const EngineAnswer &page)
{
    beginResetModel();
    m_rows = page.snapshots;
    endResetModel();
    follow();
}

/// From the page on: what the signals said before is in it.
void DownloadsModel::follow()
{
    if (std::exchange(m_isFollowing, true))
        return;
    connect(&m_engine, &Engine::listChanged, this, &DownloadsModel::load);
    connect(&m_engine, &Engine::added, this, &DownloadsModel::onAdded);
    connect(&m_engine, &Engine::changed, this, &DownloadsModel::onChanged);
    connect(&m_engine, &Engine::removed, this, &DownloadsModel::onRemoved);
    connect(&m_engine, &Engine::moved, this, &DownloadsModel::onMoved);
}

int DownloadsModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_rows.size());
}

QVariant DownloadsModel::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid))
        return {};
    const Snapshot &row = m_rows.at(index.row());
    switch (role) {
    case Qt::DisplayRole:
        return row.name().isEmpty() ? row.url.toDisplayString() : row.name();
    case IdRole:
        return row.id;
    case StateRole:
        return int(row.state);
    case DoneRole:
        return row.done();
    case SizeRole:
        return row.size();
    case SpeedRole:
        return row.speed;
    default:
        return {};
    }
}

QHash<int, QByteArray> DownloadsModel::roleNames() const
{
    QHash<int, QByteArray> names = QAbstractListModel::roleNames();
    names.insert({{IdRole, "id"}, {StateRole, "state"}, {DoneRole, "done"}, {SizeRole, "size"}, {SpeedRole, "speed"}});
    return names;
}

void DownloadsModel::onAdded(const Snapshot &snapshot, qint64 position)
{
    if (!isUpToDate())
        return;
    beginInsertRows({}, int(position), int(position));
    m_rows.insert(position, snapshot);
    endInsertRows();
}

void DownloadsModel::onChanged(const Snapshot &snapshot)
{
    const int row = rowOf(snapshot.id);
    if (row < 0)
        return;
    m_rows[row] = snapshot;
    Q_EMIT dataChanged(index(row), index(row));
}

void DownloadsModel::onRemoved(qint64 id)
{
    const int row = rowOf(id);
    if (row < 0)
        return;
    beginRemoveRows({}, row, row);
    m_rows.removeAt(row);
    endRemoveRows();
}

/// Views count the place behind which it goes as if the row were still at the old one.
void DownloadsModel::onMoved(qint64 id, qint64 position)
{
    const int from = isUpToDate() ? rowOf(id) : -1;
    const int to = int(position);
    if (from < 0 || !beginMoveRows({}, from, from, {}, to > from ? to + 1 : to))
        return;
    m_rows.move(from, to);
    endMoveRows();
}

int DownloadsModel::rowOf(qint64 id) const
{
    const auto found = std::find_if(m_rows.cbegin(), m_rows.cend(), [id](const Snapshot &row) { return row.id == id; });
    return found == m_rows.cend() ? -1 : int(found - m_rows.cbegin());
}
