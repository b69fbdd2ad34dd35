// SPDX-License-Identifier: MIT
#pragma once

#include <host/engine/engine.h>

#include <QAbstractListModel>

/// The list of an engine as views show it: a front end, and the example of one. It takes a page and applies the
/// signals that follow; it asks again only where another program has changed the list, and knows nothing of modules,
/// queue or list.
///
///     DownloadsModel model(engine);
///     view.setModel(&model);
///     engine.open(options);
///     model.load();
///
/// Lives in the engine's thread, and no longer than the engine.
class DownloadsModel : public QAbstractListModel
{
    Q_OBJECT

public:
    enum Role {
        IdRole = Qt::UserRole, ///< what commands take
        StateRole, ///< a DownloadState, as a number
        DoneRole, ///< bytes
        SizeRole, ///< bytes; -1 = unknown
        SpeedRole, ///< bytes/s
    };

    explicit DownloadsModel(Engine &engine, QObject *parent = nullptr);

    /// Once, when the engine was told to open. Empty until the engine has answered; modelReset() says that it has.
    void load();

    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    const QList<Snapshot> &rows() const { return m_rows; }
    /// Totals as they are now; the rest as it was when the rows were last taken.
    const EngineOverview &overview() const { return m_overview; }
    /// The rows are those of the list. Else a page is on its way.
    bool isUpToDate() const { return m_pages == 0; }

private:
    void take(const EngineAnswer &page);
    void follow();
    void onAdded(const Snapshot &snapshot, qint64 position);
    void onChanged(const Snapshot &snapshot);
    void onRemoved(qint64 id);
    void onMoved(qint64 id, qint64 position);
    int rowOf(qint64 id) const;

    Engine &m_engine;
    int m_pages = 0; ///< that were asked for and have not come
    bool m_isFollowing = false;
    EngineOverview m_overview;
    QList<Snapshot> m_rows; ///< in the order of the list
};
