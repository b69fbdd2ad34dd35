// SPDX-License-Identifier: MIT
#pragma once

#include <host/storage/downloadstore.h>

#include <QList>
#include <QString>
#include <QUrl>

#include <functional>
#include <memory>
#include <optional>

class RecordRows;
class SqlDatabase;
class SqlValue;
struct ProcessIdentity;
struct SqlError;

/// The list of downloads, kept in an SQLite file that only its owner can read.
///
/// Several processes may use one file at once. Every operation is one transaction. A file that is found to be damaged
/// is set aside under another name and a new list begun in its place, by open() or by the operation that found it;
/// warning() tells.
class DownloadList : public DownloadStore
{
    Q_DISABLE_COPY_MOVE(DownloadList)

public:
    /// $XDG_DATA_HOME/plait/downloads.sqlite; empty = there is no home folder, nor is another one named.
    static QString defaultPath();
    /// Missing parents get what the system gives, the last folder is its owner's alone. True, too, where it is there.
    static bool makeFolder(const QString &path);

    /// Why nothing can be put into a file that is there; empty = it can.
    static Clause obstacleToWriting(const QString &path);

    DownloadList();
    ~DownloadList() override;

    /// Makes the file and its folder where they are missing, and brings an older one up to date.
    bool open(const QString &path);
    /// A file that cannot be written, of this version; whatever would change it fails.
    bool openToRead(const QString &path);
    bool isOpen() const { return m_rows != nullptr; }

    QString path() const override { return m_path; }
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
    void askOthersChanges(QObject *context, const std::function<void(qint64)> &told) override;
    DownloadOptions options(qint64 id) override;
    bool setOptions(qint64 id, const DownloadOptions &options, qint64 fence = 0) override;
    bool remove(qint64 id, qint64 fence = 0) override;
    Claim claim(qint64 id, Owner *owner = nullptr) override;
    Claim claim(qint64 id, Lease &lease, Owner *owner = nullptr) override;
    bool release(qint64 id) override;
    void setWait(int ms) override;
    bool renewClaims() override;
    Failure lostTo(qint64 id, qint64 fence) override;

    /// Called with each statement before it runs: for who looks into what is slow.
    void setStatementObserver(const std::function<void(const QString &statement)> &observer);

private:
    enum class Opening;
    struct Together;

    bool beginFile();
    Opening connectTo();
    bool beginAnew();
    QList<Record> select(const QString &condition, const QList<SqlValue> &values, const QString &index = {});
    bool reading(const std::function<bool()> &work);
    bool changing(Lasting lasting, const std::function<bool()> &work);
    bool changingUnder(qint64 fence, qint64 id, Lasting lasting, const std::function<bool()> &work);
    bool changingWithOthers(Failure::Kind kind, const std::function<bool()> &work);
    bool changed(Lasting lasting, const std::function<bool()> &work, SqlError *error);
    void setSynchronous(const QString &how);
    bool changesOne(const QString &statement, const QList<SqlValue> &values);
    bool fail(Failure::Kind kind, const Clause &reason, const QList<Failure::Remedy> &remedies = {});
    bool failToOpen(const Clause &reason, const QList<Failure::Remedy> &remedies = {});
    bool failBy(Failure::Kind kind, const SqlError &error);
    Failure::Subject subject() const;
    bool read(qint64 id, Lease &lease);
    Claim claim(qint64 id, Owner *owner, const std::function<bool()> &andThen);
    ProcessIdentity ownerOf(qint64 id, bool *found);
    bool isOurs(qint64 id, qint64 fence, Failure *lost);
    bool setOwner(qint64 id, const ProcessIdentity &owner);

    QString m_path;
    Failure m_failure;
    Failure m_warning;
    Clause m_damage; ///< what was found when it was opened; empty = nothing that has words
    bool m_isForReading = false;
    quint64 m_inode = 0; ///< of the file that is open
    bool m_isOwner = false; ///< and the list knows for how long
    bool m_isNewOne = false; ///< begun in place of one that was found damaged while it was used
    std::function<void(const QString &)> m_observer;
    Together *m_together = nullptr; ///< inside of what happens together
    std::unique_ptr<SqlDatabase> m_database;
    std::unique_ptr<RecordRows> m_rows; ///< null while not open
};
