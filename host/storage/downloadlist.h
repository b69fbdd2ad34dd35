// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/records/abstractdownloadpersistentinfo.h>

#include <QList>
#include <QString>
#include <QUrl>

#include <functional>
#include <memory>
#include <optional>

class RecordRows;
struct ProcessIdentity;

/// The list of downloads, kept in an SQLite file that only its owner can read.
///
/// Several processes may use one file at once. Every operation is one transaction. A download that runs is owned by the
/// process that runs it; an owner that has died counts as none. Operations that fail return nothing, false or 0 and
/// leave a sentence in lastErrorText(). Used in the thread that opened it.
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

    /// $XDG_DATA_HOME/plait/downloads.sqlite
    static QString defaultPath();

    DownloadList();
    ~DownloadList();

    /// Makes the file and its folder where they are missing, and brings an older one up to date.
    bool open(const QString &path);
    bool isOpen() const { return m_rows != nullptr; }
    QString path() const { return m_path; }
    QString lastErrorText() const { return m_errorText; }

    /// Puts a new record in and gives it its id; 0 = failed.
    qint64 insert(Record &record);
    /// Replaces the record of the same id.
    bool update(const Record &record);
    /// Nothing, without an error, when there is none of that id.
    std::optional<Record> load(qint64 id);
    /// By id.
    QList<Record> loadUnfinished();
    /// Those that the same request would go on with, newest first.
    /// @param outputName as it was asked for by name; empty = the name was left to the server
    QList<Record> findUnfinished(const QUrl &url, const QString &folder, const QString &outputName);
    /// All records, by id.
    QList<Record> list();
    /// Forgets a download. Its files stay.
    bool remove(qint64 id);

    /// Makes this process the owner of a download. @param owner gets who owns it, on OwnedByOther
    Claim claim(qint64 id, ProcessIdentity *owner = nullptr);
    /// Gives up what claim() took; somebody else's download is left alone.
    bool release(qint64 id);

private:
    class Connection;

    bool connectTo(const QString &path);
    QList<Record> select(const QString &condition, const QVariantList &values);
    bool changing(const QString &what, const std::function<bool()> &work);
    bool changesOne(const QString &statement, const QVariantList &values);
    bool fail(const QString &what, const QString &reason);
    ProcessIdentity ownerOf(qint64 id, bool *found);
    bool setOwner(qint64 id, const ProcessIdentity &owner);

    QString m_path;
    QString m_errorText;
    std::unique_ptr<Connection> m_connection;
    std::unique_ptr<RecordRows> m_rows; ///< null while not open
};
