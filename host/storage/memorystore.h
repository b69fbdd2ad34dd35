// SPDX-License-Identifier: MIT
#pragma once

#include <host/storage/downloadstore.h>

#include <QMap>

#include <functional>
#include <optional>
#include <set>

/// A list of downloads that is kept nowhere: it goes with the process, which owns whatever runs. Never fails for
/// another reason than that there is no such download.
class MemoryStore : public DownloadStore
{
    Q_DISABLE_COPY_MOVE(MemoryStore)

public:
    /// @param warning what to tell the person; none = nothing
    explicit MemoryStore(const Failure &warning = {});
    ~MemoryStore() override;

    QString path() const override { return {}; }
    Failure lastFailure() const override { return m_failure; }
    Failure warning() const override { return m_warning; }

    using DownloadStore::together;
    bool together(const Work &work, Lasting lasting) override;
    qint64 insert(Record &record) override;
    qint64 insertOwned(Record &record, const DownloadOptions &options) override;
    using DownloadStore::update;
    bool update(const Record &record, const Holdings &holdings, Lasting lasting) override;
    FileIdentity fileIdentity(qint64 id) override;
    QString contentEncoding(qint64 id) override;
    ResourceMemory memory(qint64 id) override;
    bool setDigestResult(qint64 id, ChecksumResult result, qint64 fence = 0) override;
    std::optional<Record> load(qint64 id) override;
    QList<Record> loadUnfinished() override;
    QList<Record> findUnfinished(const QUrl &url, const QString &folder, const QString &outputName) override;
    QList<Record> findFinished(const QUrl &url, const QString &folder, const QString &outputName, int limit) override;
    QList<Record> findByUrl(const QUrl &url, int limit) override;
    bool isBegun(const QString &folder, const QString &pathOnDisk, qint64 butId) override;
    QList<Record> list() override;
    QList<ListEntry> page(ListFilter filter, int limit, qint64 before = 0) override;
    QList<ListEntry> page(ListFilter filter, ListOrder order, qint64 first, int limit) override;
    qint64 move(qint64 id, qint64 position, QList<RowPlace> *places = nullptr) override;
    qint64 count(ListFilter filter, qint64 *othersChanges = nullptr) override;
    DownloadOptions options(qint64 id) override;
    bool setOptions(qint64 id, const DownloadOptions &options, qint64 fence = 0) override;
    bool remove(qint64 id, qint64 fence = 0) override;
    Claim claim(qint64 id, Owner *owner = nullptr) override;
    Claim claim(qint64 id, Lease &lease, Owner *owner = nullptr) override;
    bool release(qint64 id) override;
    Failure lostTo(qint64 id, qint64 fence) override;

private:
    struct Row {
        Lease lease; ///< its number is that of the newest claim
        bool isMemoryKept = false;
        bool isOwned = false;

        RowPlace place() const { return {lease.record.sortIndex, lease.record.id}; }
    };

    /// What was there before something that happens together.
    struct Before {
        QMap<qint64, std::optional<Row>> rows; ///< that were changed; nothing = there was none
        qint64 lastId = 0;
        Failure failure; ///< of the first operation that did; none = none did
    };

    void takeBack(const Before &before);
    void remember(qint64 id);
    static bool isMeant(const Row &row, ListFilter filter);
    static ListEntry entryOf(const Row &row);
    std::optional<QList<RowPlace>> placesWithout(qint64 id, qint64 position, qint64 count) const;
    void setPlace(const RowPlace &place);
    Row rowOf(qint64 id);
    Row *find(qint64 id, qint64 fence = 0);
    QList<Record> select(const std::function<bool(const Row &)> &condition) const;

    const Failure m_warning;
    Failure m_failure;
    QMap<qint64, Row> m_rows;
    std::set<RowPlace> m_places; ///< of all rows, as their records say them
    qint64 m_lastId = 0;
    std::optional<Before> m_before; ///< nothing = each operation is one of its own
};
