// SPDX-License-Identifier: MIT
#include <host/storage/downloadlist.h>

#include <host/storage/processidentity.h>
#include <host/storage/recordrows.h>
#include <host/storage/schema.h>
#include <host/storage/sqlcells.h>
#include <host/storage/sqltransaction.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QStandardPaths>

#include <algorithm>
#include <atomic>

using namespace Qt::StringLiterals;

namespace
{

constexpr auto kOnlyMyFile = QFileDevice::ReadOwner | QFileDevice::WriteOwner;
constexpr auto kOnlyMyFolder = kOnlyMyFile | QFileDevice::ExeOwner;

/// Missing parents get what the system gives, the last folder is its owner's alone.
bool makeFolder(const QString &path)
{
    const QFileInfo folder(path);
    return folder.isDir() || (QDir().mkpath(folder.path()) && QDir().mkdir(path, kOnlyMyFolder)) || folder.isDir();
}

/// The file has its permissions before anything is in it, and SQLite gives the same to the files beside it.
QString makeFile(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadWrite | QIODevice::NewOnly, kOnlyMyFile) && !file.exists())
        return file.errorString();
    if (!file.isOpen())
        file.setPermissions(kOnlyMyFile);
    return {};
}

}

/// The named connection of Qt Sql, which lives as long as this object.
class DownloadList::Connection
{
    Q_DISABLE_COPY_MOVE(Connection)

public:
    explicit Connection(const QString &path)
        : m_name(uniqueName())
    {
        QSqlDatabase database = QSqlDatabase::addDatabase(u"QSQLITE"_s, m_name);
        database.setDatabaseName(path);
        database.setConnectOptions(u"QSQLITE_BUSY_TIMEOUT=10000"_s);
    }

    ~Connection() { QSqlDatabase::removeDatabase(m_name); }

    QSqlDatabase database() const { return QSqlDatabase::database(m_name, false); }

private:
    static QString uniqueName()
    {
        static std::atomic<int> count = 0;
        return u"plait-list-%1"_s.arg(++count);
    }

    const QString m_name;
};

QString DownloadList::defaultPath()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + "/plait/downloads.sqlite"_L1;
}

DownloadList::DownloadList() = default;

DownloadList::~DownloadList() = default;

bool DownloadList::open(const QString &path)
{
    m_rows.reset();
    m_connection.reset();
    m_path = path;
    const QString folder = QFileInfo(path).absolutePath();
    if (!makeFolder(folder))
        return fail(u"open"_s, u"the folder \"%1\" cannot be made."_s.arg(folder));
    const QString fileError = makeFile(path);
    if (!fileError.isEmpty())
        return fail(u"open"_s, fileError);
    return connectTo(path);
}

bool DownloadList::connectTo(const QString &path)
{
    auto connection = std::make_unique<Connection>(path);
    QSqlDatabase database = connection->database();
    if (!database.open())
        return fail(u"open"_s, database.lastError().text());
    QString reason;
    // The first one decides for all that come later; who comes at the same moment finds it done.
    QSqlQuery(database).exec(u"PRAGMA journal_mode = WAL"_s);
    // In this mode a crash of the machine may lose the last progress but never harms the list.
    QSqlQuery(database).exec(u"PRAGMA synchronous = NORMAL"_s);
    if (!QSqlQuery(database).exec(u"PRAGMA foreign_keys = ON"_s) || !Schema::upgrade(database, &reason))
        return fail(u"open"_s, reason);
    m_connection = std::move(connection);
    m_rows = std::make_unique<RecordRows>(database);
    return true;
}

qint64 DownloadList::insert(Record &record)
{
    Record inserted = record;
    if (!changing(u"add to"_s, [&] { return m_rows->insert(inserted); }))
        return 0;
    record.id = inserted.id;
    return record.id;
}

bool DownloadList::update(const Record &record)
{
    return changing(u"save in"_s, [&] { return m_rows->update(record); });
}

std::optional<DownloadList::Record> DownloadList::load(qint64 id)
{
    const QList<Record> records = select(u"id = ?"_s, {id});
    return records.isEmpty() ? std::nullopt : std::optional(records.first());
}

QList<DownloadList::Record> DownloadList::loadUnfinished()
{
    return select(u"finished = 0"_s, {});
}

QList<DownloadList::Record> DownloadList::findUnfinished(const QUrl &url, const QString &folder,
                                                         const QString &outputName)
{
    const QString sameRequest = u"finished = 0 AND url = ? AND folder = ? AND "_s;
    QVariantList values{SqlCells::fromUrl(url), folder, SqlCells::fromFlags(Record::RenameBlocked)};
    QList<Record> records;
    if (outputName.isEmpty()) {
        records = select(sameRequest + u"flags & ? = 0"_s, values);
    } else {
        values.append(outputName);
        records = select(sameRequest
                             + u"flags & ? <> 0 AND EXISTS (SELECT 1 FROM files WHERE download_id = downloads.id "
                               u"AND position = 0 AND name = ?)"_s,
                         values);
    }
    std::reverse(records.begin(), records.end());
    return records;
}

QList<DownloadList::Record> DownloadList::list()
{
    return select(u"true"_s, {});
}

bool DownloadList::remove(qint64 id)
{
    return changing(u"remove from"_s, [&] { return changesOne(u"DELETE FROM downloads WHERE id = ?"_s, {id}); });
}

DownloadList::Claim DownloadList::claim(qint64 id, ProcessIdentity *owner)
{
    const ProcessIdentity me = ProcessIdentity::current();
    bool isOthers = false;
    const bool taken = changing(u"claim a download of"_s, [&] {
        bool found = false;
        const ProcessIdentity before = ownerOf(id, &found);
        isOthers = found && before != me && before.isAlive();
        if (isOthers && owner)
            *owner = before;
        return found && !isOthers && setOwner(id, me);
    });
    if (taken)
        return Claim::Taken;
    return isOthers ? Claim::OwnedByOther : Claim::Failed;
}

bool DownloadList::release(qint64 id)
{
    return changing(u"release a download of"_s, [&] {
        bool found = false;
        return ownerOf(id, &found) == ProcessIdentity::current() && setOwner(id, {});
    });
}

QList<DownloadList::Record> DownloadList::select(const QString &condition, const QVariantList &values)
{
    const QString what = u"read"_s;
    if (!isOpen()) {
        fail(what, u"it is not open."_s);
        return {};
    }
    m_errorText.clear();
    const SqlTransaction transaction(m_connection->database(), SqlTransaction::Kind::Read);
    const RecordRows::Records records = m_rows->select(condition, values);
    if (!records)
        fail(what, m_rows->lastErrorText());
    return records.value_or(QList<Record>());
}

bool DownloadList::changing(const QString &what, const std::function<bool()> &work)
{
    if (!isOpen())
        return fail(what, u"it is not open."_s);
    m_errorText.clear();
    SqlTransaction transaction(m_connection->database(), SqlTransaction::Kind::Write);
    if (!transaction.isOpen())
        return fail(what, transaction.lastError().text());
    if (!work())
        return fail(what,
                    m_rows->lastErrorText().isEmpty() ? u"there is no such download for this process."_s
                                                      : m_rows->lastErrorText());
    return transaction.commit() || fail(what, transaction.lastError().text());
}

bool DownloadList::changesOne(const QString &statement, const QVariantList &values)
{
    QSqlQuery query(m_connection->database());
    return m_rows->run(statement, values, query) && query.numRowsAffected() == 1;
}

bool DownloadList::fail(const QString &what, const QString &reason)
{
    m_errorText = u"cannot %1 the list \"%2\": %3"_s.arg(what, QDir::toNativeSeparators(m_path), reason.trimmed());
    return false;
}

ProcessIdentity DownloadList::ownerOf(qint64 id, bool *found)
{
    QSqlQuery query(m_connection->database());
    *found =
        m_rows->run(u"SELECT owner_pid, owner_start_time, owner_boot_id FROM downloads WHERE id = ?"_s, {id}, query)
        && query.next();
    if (!*found)
        return {};
    return {query.value(0).toLongLong(), query.value(1).toLongLong(), query.value(2).toString()};
}

bool DownloadList::setOwner(qint64 id, const ProcessIdentity &owner)
{
    QVariantList values(3);
    if (!owner.isNobody())
        values = {owner.pid, owner.startTime, owner.bootId};
    return changesOne(u"UPDATE downloads SET owner_pid = ?, owner_start_time = ?, owner_boot_id = ? WHERE id = ?"_s,
                      values + QVariantList{id});
}
