// SPDX-License-Identifier: MIT
#pragma once

#include <host/options/downloadoptions.h>
#include <host/policy/resourcememory.h>
#include <host/storage/listentry.h>
#include <inet/qt/download/framework/fileidentity.h>
#include <inet/qt/download/records/abstractdownloadpersistentinfo.h>

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
/// Several processes may use one file at once. Every operation is one transaction. A download that runs is owned by the
/// process that runs it; an owner that has died counts as none. Operations that fail return nothing, false or 0 and
/// leave a sentence in lastErrorText(). A file that is found to be damaged is set aside under another name and a new
/// list begun in its place, by open() or by the operation that found it; warning() tells. Used in the thread that
/// opened it.
class DownloadList
{
    Q_DISABLE_COPY_MOVE(DownloadList)

public:
    using Record = AbstractDownloadPersistentInfo;

    /// Answers to claim().
    enum class Claim {
        Taken, ///< this process owns the download now
        OwnedByOther, ///< another living process does
        Failed, ///< no such download, or the list failed
    };

    /// What is known of a download before it runs.
    struct Taken {
        Record record;
        DownloadOptions options;
        FileIdentity file; ///< of its incomplete file; unknown = there was none
        QString contentEncoding; ///< as which its bytes came; empty = none
        ResourceMemory memory;
    };

    /// What is known of a download's bytes beside its record.
    struct Holdings {
        FileIdentity file; ///< of the incomplete file; unknown = as before
        QString contentEncoding; ///< as which they came; null = as before
        std::optional<ResourceMemory> memory; ///< of where they came from; nothing = as before
    };

    /// How long a change lasts. Either way it outlives this process, and a list is never half changed.
    enum class Lasting {
        ThisRunOfTheMachine, ///< a loss of power may take the last of them back
        Always, ///< written through to the disk: what must be true before something else is done to the disk
    };

    /// $XDG_DATA_HOME/plait/downloads.sqlite
    static QString defaultPath();

    DownloadList();
    ~DownloadList();

    /// Makes the file and its folder where they are missing, and brings an older one up to date.
    bool open(const QString &path);
    bool isOpen() const { return m_rows != nullptr; }
    QString path() const { return m_path; }
    QString lastErrorText() const { return m_errorText; }
    /// A sentence for the person when a damaged list was set aside; empty = there is nothing to tell.
    QString warning() const { return m_warning; }

    /// Puts a new record in and gives it its id; 0 = failed.
    qint64 insert(Record &record);
    /// The same for a download that is to run: with its options, and owned by this process.
    qint64 insertOwned(Record &record, const DownloadOptions &options);
    /// Replaces the record of the same id.
    bool update(const Record &record, Lasting lasting = Lasting::Always);
    bool update(const Record &record, const Holdings &holdings, Lasting lasting);
    /// Of the incomplete file at the last update that said it; unknown = there was none.
    FileIdentity fileIdentity(qint64 id);
    /// As which the file came, see ContentEncoding; empty = as it is.
    QString contentEncoding(qint64 id);
    /// Empty where nothing was kept, and, with an error text, when reading fails.
    ResourceMemory memory(qint64 id);
    /// How the finished file compares with the digest that its server names, beside what proves it.
    bool setDigestResult(qint64 id, ChecksumResult result);
    /// Nothing, without an error, when there is none of that id.
    std::optional<Record> load(qint64 id);
    /// By id.
    QList<Record> loadUnfinished();
    /// Those that the same request would go on with, newest first.
    /// @param outputName as it was asked for by name; empty = the name was left to the server
    QList<Record> findUnfinished(const QUrl &url, const QString &folder, const QString &outputName);
    /// Those with this address, newest first. @param limit most
    QList<Record> findByUrl(const QUrl &url, int limit);
    /// All records, by id.
    QList<Record> list();
    /// What a line of the list shows, newest first. @param limit most lines at once @param before only downloads that
    /// are older than the one of that id: the last of the page before; 0 = from the newest
    QList<ListEntry> page(ListFilter filter, int limit, qint64 before = 0);
    /// -1 = failed.
    qint64 count(ListFilter filter);

    /// The defaults when none were set, and, with an error text, when reading fails.
    DownloadOptions options(qint64 id);
    /// Without storeSecrets user and password are forgotten.
    bool setOptions(qint64 id, const DownloadOptions &options);

    /// Forgets a download. Its files stay.
    bool remove(qint64 id);

    /// Makes this process the owner of a download. @param owner gets who owns it, on OwnedByOther
    Claim claim(qint64 id, ProcessIdentity *owner = nullptr);
    /// The same, and reads it at that moment. @param taken gets it, on Taken
    Claim claim(qint64 id, Taken &taken, ProcessIdentity *owner = nullptr);
    /// Gives up what claim() took; somebody else's download is left alone.
    bool release(qint64 id);

    /// Called with each statement before it runs: for who looks into what is slow.
    void setStatementObserver(const std::function<void(const QString &statement)> &observer);

private:
    enum class Opening;

    bool beginFile();
    Opening connectTo();
    bool beginAnew();
    QList<Record> select(const QString &condition, const QList<SqlValue> &values, const QString &index = {});
    bool reading(const std::function<bool()> &work);
    bool changing(const QString &what, Lasting lasting, const std::function<bool()> &work);
    bool changed(Lasting lasting, const std::function<bool()> &work, SqlError *error);
    void setSynchronous(const QString &how);
    bool changesOne(const QString &statement, const QList<SqlValue> &values);
    bool fail(const QString &what, const QString &reason);
    bool failBy(const QString &what, const SqlError &error);
    bool read(qint64 id, Taken &taken);
    Claim claim(qint64 id, ProcessIdentity *owner, const std::function<bool()> &andThen);
    ProcessIdentity ownerOf(qint64 id, bool *found);
    bool setOwner(qint64 id, const ProcessIdentity &owner);

    QString m_path;
    QString m_errorText;
    QString m_warning;
    QString m_damage; ///< what was found when it was opened, behind a colon; empty = nothing that has words
    quint64 m_inode = 0; ///< of the file that is open
    std::function<void(const QString &)> m_observer;
    std::unique_ptr<SqlDatabase> m_database;
    std::unique_ptr<RecordRows> m_rows; ///< null while not open
};
