// SPDX-License-Identifier: MIT
#include <host/storage/downloadlist.h>

#include <host/storage/damagedlist.h>
#include <host/storage/listrows.h>
#include <host/storage/memoryrows.h>
#include <host/storage/processidentity.h>
#include <host/storage/recordrows.h>
#include <host/storage/schema.h>
#include <host/storage/sqldatabase.h>
#include <host/storage/sqltransaction.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

#include <algorithm>
#include <mutex>

#include <fcntl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace
{

using Remedy = Failure::Remedy;

constexpr auto kOnlyMyFile = QFileDevice::ReadOwner | QFileDevice::WriteOwner;
constexpr auto kOnlyMyFolder = kOnlyMyFile | QFileDevice::ExeOwner;

/// The file has its permissions before anything is in it, and SQLite gives the same to the files beside it. One thread
/// at a time: closing the new file takes the locks of whoever has opened it by then in this process.
QString makeFile(const QString &path)
{
    static std::mutex mutex;
    const std::lock_guard lock(mutex);
    QFile file(path);
    if (!file.open(QIODevice::ReadWrite | QIODevice::NewOnly, kOnlyMyFile) && !file.exists())
        return file.errorString();
    return {};
}

bool mayUse(const QString &path, int how)
{
    return ::faccessat(AT_FDCWD, QFile::encodeName(path).constData(), how, AT_EACCESS) == 0;
}

/// Others have no business there. What its owner may do stays.
void closeToOthers(const QString &path)
{
    const QFileDevice::Permissions before = QFile::permissions(path);
    const auto ofOthers = QFileDevice::ReadGroup | QFileDevice::WriteGroup | QFileDevice::ExeGroup
        | QFileDevice::ReadOther | QFileDevice::WriteOther | QFileDevice::ExeOther;
    if (before & ofOthers)
        QFile::setPermissions(path, before & kOnlyMyFile);
}

}

QString DownloadList::defaultPath()
{
    const bool isNamed = QDir::isAbsolutePath(qEnvironmentVariable("XDG_DATA_HOME"));
    if (!isNamed && !QDir::isAbsolutePath(qEnvironmentVariable("HOME")))
        return {};
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + "/plait/downloads.sqlite"_L1;
}

bool DownloadList::makeFolder(const QString &path)
{
    const QFileInfo folder(path);
    return folder.isDir() || (QDir().mkpath(folder.path()) && QDir().mkdir(path, kOnlyMyFolder)) || folder.isDir();
}

Clause DownloadList::obstacleToWriting(const QString &path)
{
    // SQLite has other files beside it.
    const QString folder = QFileInfo(path).canonicalPath();
    if (!mayUse(folder, W_OK | X_OK))
        return {Clause::Kind::FolderNotWritable, {folder}};
    return mayUse(path, W_OK) ? Clause() : Clause(Clause::Kind::FileNotWritable, {path});
}

DownloadList::DownloadList() = default;

DownloadList::~DownloadList() = default;

/// What came of an attempt to open the file.
enum class DownloadList::Opening {
    Done,
    Failed, ///< with a failure
    Damaged, ///< with a failure; nothing keeps the file open
};

bool DownloadList::open(const QString &path)
{
    m_path = path;
    m_warning = {};
    m_isForReading = false;
    if (!beginFile())
        return false;
    const Opening opening = connectTo();
    return opening == Opening::Done || (opening == Opening::Damaged && beginAnew());
}

bool DownloadList::openToRead(const QString &path)
{
    m_path = path;
    m_isForReading = true;
    m_rows.reset();
    // Who is at work on it keeps a log beside it, and what looks at a list without that one does not see it.
    const bool isStill = QFileInfo(path + "-wal"_L1).size() == 0;
    m_database = std::make_unique<SqlDatabase>();
    if (!m_database->open(path, isStill ? SqlDatabase::Access::LookAtStill : SqlDatabase::Access::Look))
        return failToOpen(m_database->lastError().clause());
    const Schema::Finding found = Schema::look(*m_database);
    if (found.outcome != Schema::Outcome::Done || found.version != Schema::kVersion)
        return failToOpen(found.reason, Schema::remediesOf(found.outcome));
    m_rows = std::make_unique<RecordRows>(*m_database);
    m_rows->setObserver(m_observer);
    return true;
}

bool DownloadList::beginFile()
{
    m_rows.reset();
    m_database.reset();
    const QString folder = QFileInfo(m_path).absolutePath();
    if (!makeFolder(folder))
        return failToOpen({Clause::Kind::FolderNotMade, {folder}}, {Remedy::OtherList});
    const Clause obstacle = DamagedList::obstacleAt(m_path);
    if (!obstacle.isEmpty())
        return failToOpen(obstacle, {Remedy::MoveAway, Remedy::OtherList});
    if (!DamagedList::mayBeList(m_path))
        return failToOpen(Clause::Kind::NoList, {Remedy::OtherList});
    if (const Clause reason = QFile::exists(m_path) ? obstacleToWriting(m_path) : Clause(); !reason.isEmpty())
        return failToOpen(reason, {Remedy::OtherList});
    const QString fileError = makeFile(m_path);
    m_inode = DamagedList::inodeOf(m_path);
    return fileError.isEmpty() || failToOpen(fileError, {Remedy::OtherList});
}

DownloadList::Opening DownloadList::connectTo()
{
    auto database = std::make_unique<SqlDatabase>();
    if (!database->open(m_path)) {
        failToOpen(database->lastError().clause());
        return Opening::Failed;
    }
    // In this mode a crash of the machine may lose the last progress but never harms the list.
    database->run(u"PRAGMA synchronous = NORMAL"_s);
    database->run(u"PRAGMA foreign_keys = ON"_s);
    // What is taken out of the list is not left in free places of its file.
    database->run(u"PRAGMA secure_delete = ON"_s);
    Clause reason;
    Schema::Outcome outcome = Schema::upgrade(*database, &reason);
    if (outcome == Schema::Outcome::Done && DamagedList::looksDamaged(*database) && DamagedList::isDamaged(*database))
        outcome = Schema::Outcome::Damaged;
    if (outcome == Schema::Outcome::Damaged) {
        m_damage = reason;
        failToOpen({Clause::Kind::Damaged, {}, reason});
        return Opening::Damaged;
    }
    if (outcome != Schema::Outcome::Done) {
        failToOpen(reason, Schema::remediesOf(outcome));
        return Opening::Failed;
    }
    // Not before it is known to be ours. The first one decides for all that come later; who comes at the same moment
    // finds it done.
    database->run(u"PRAGMA journal_mode = WAL"_s);
    closeToOthers(m_path);
    m_rows = std::make_unique<RecordRows>(*database);
    m_database = std::move(database);
    m_rows->setObserver(m_observer);
    return Opening::Done;
}

/// Somebody else may have been quicker with the same damage; then there is only his new one to open.
bool DownloadList::beginAnew()
{
    m_rows.reset();
    m_database.reset();
    QString newPath;
    const QString reason = DamagedList::setAside(m_path, m_inode, &newPath);
    if (!reason.isEmpty())
        return failToOpen({Clause::Kind::CannotSetAsideDamaged, {}, reason});
    if (!newPath.isEmpty()) {
        m_warning = Failure::make(Failure::Kind::ListDamaged, subject(), m_damage);
        m_warning.subject.keptAs = newPath;
    }
    m_damage = {};
    return beginFile() && connectTo() == Opening::Done;
}

/// What failed first inside of what happens together.
struct DownloadList::Together {
    Failure::Kind kind = Failure::Kind::None; ///< of its failure; None = nothing did
    SqlError error;
};

bool DownloadList::together(const Work &work, Lasting lasting)
{
    Q_ASSERT_X(!m_together, "DownloadList", "nothing happens together inside of another such thing");
    Together together;
    if (!isOpen())
        return fail(Failure::Kind::CannotChangeList, Clause::Kind::ListNotOpen);
    m_failure = {};
    SqlError error;
    bool isWorkDone = false;
    const auto inside = [&] {
        m_together = &together;
        isWorkDone = work(*this);
        m_together = nullptr;
        return isWorkDone && together.kind == Failure::Kind::None;
    };
    if (changed(lasting, inside, &error))
        return true;
    if (together.kind != Failure::Kind::None)
        return failBy(together.kind, together.error);
    return isWorkDone || error.isValid() ? failBy(Failure::Kind::CannotChangeList, error) : false;
}

qint64 DownloadList::insert(Record &record)
{
    Record inserted = record;
    if (!changing(Lasting::ThisRunOfTheMachine, [&] { return m_rows->insert(inserted); }))
        return 0;
    record = inserted;
    return record.id;
}

qint64 DownloadList::insertOwned(Record &record, const DownloadOptions &options)
{
    Record inserted = record;
    const bool done = changing(Lasting::ThisRunOfTheMachine, [&] {
        return m_rows->insert(inserted) && ListRows::setOptions(*m_rows, inserted.id, options)
            && setOwner(inserted.id, ProcessIdentity::current());
    });
    if (!done)
        return 0;
    record = inserted;
    return record.id;
}

bool DownloadList::update(const Record &record, const Holdings &holdings, Lasting lasting)
{
    const SqlValue identity = holdings.file.isKnown() ? SqlValue(holdings.file.text) : SqlValue();
    return changingUnder(holdings.fence, record.id, lasting, [&] {
        return m_rows->update(record, identity, holdings.contentEncoding)
            && (!holdings.memory || MemoryRows::save(*m_rows, record.id, *holdings.memory));
    });
}

FileIdentity DownloadList::fileIdentity(qint64 id)
{
    std::optional<FileIdentity> identity;
    reading([&] { return (identity = ListRows::fileIdentity(*m_rows, id)).has_value(); });
    return identity.value_or(FileIdentity());
}

QString DownloadList::contentEncoding(qint64 id)
{
    std::optional<QString> encoding;
    reading([&] { return (encoding = ListRows::contentEncoding(*m_rows, id)).has_value(); });
    return encoding.value_or(QString());
}

ResourceMemory DownloadList::memory(qint64 id)
{
    std::optional<ResourceMemory> memory;
    reading([&] { return (memory = MemoryRows::load(*m_rows, id)).has_value(); });
    return memory.value_or(ResourceMemory());
}

bool DownloadList::setDigestResult(qint64 id, ChecksumResult result, qint64 fence)
{
    return changingUnder(fence, id, Lasting::ThisRunOfTheMachine,
                         [&] { return MemoryRows::setDigestResult(*m_rows, id, result); });
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

QList<DownloadList::Record> DownloadList::list()
{
    return select(u"true"_s, {});
}

QList<ListEntry> DownloadList::page(ListFilter filter, int limit, qint64 before)
{
    std::optional<QList<ListEntry>> entries;
    reading([&] { return (entries = ListRows::page(*m_rows, filter, limit, before)).has_value(); });
    return entries.value_or(QList<ListEntry>());
}

QList<ListEntry> DownloadList::page(ListFilter filter, ListOrder order, qint64 first, int limit)
{
    std::optional<QList<ListEntry>> entries;
    reading([&] { return (entries = ListRows::page(*m_rows, filter, order, first, limit)).has_value(); });
    return entries.value_or(QList<ListEntry>());
}

qint64 DownloadList::move(qint64 id, qint64 position, QList<RowPlace> *places)
{
    std::optional<qint64> place;
    const bool isMoved = changing(Lasting::ThisRunOfTheMachine,
                                  [&] { return (place = ListRows::move(*m_rows, id, position, places)).has_value(); });
    return isMoved ? *place : -1;
}

qint64 DownloadList::count(ListFilter filter, qint64 *othersChanges)
{
    std::optional<qint64> number;
    reading([&] { return (number = ListRows::count(*m_rows, filter)).has_value(); });
    if (othersChanges)
        askOthersChanges(nullptr, [othersChanges](qint64 changes) { *othersChanges = changes; });
    return number.value_or(-1);
}

void DownloadList::askOthersChanges(QObject *, const std::function<void(qint64)> &told)
{
    std::optional<qint64> changes;
    reading([&] { return (changes = ListRows::othersChanges(*m_rows)).has_value(); });
    told(changes.value_or(0));
}

DownloadOptions DownloadList::options(qint64 id)
{
    std::optional<DownloadOptions> options;
    reading([&] { return (options = ListRows::options(*m_rows, id)).has_value(); });
    return options.value_or(DownloadOptions());
}

bool DownloadList::setOptions(qint64 id, const DownloadOptions &options, qint64 fence)
{
    return changingUnder(fence, id, Lasting::ThisRunOfTheMachine,
                         [&] { return ListRows::setOptions(*m_rows, id, options); });
}

bool DownloadList::remove(qint64 id, qint64 fence)
{
    return changingUnder(fence, id, Lasting::Always,
                         [&] { return changesOne(u"DELETE FROM downloads WHERE id = ?"_s, {id}); });
}

void DownloadList::setStatementObserver(const std::function<void(const QString &statement)> &observer)
{
    m_observer = observer;
    if (m_rows)
        m_rows->setObserver(observer);
}

QList<DownloadList::Record> DownloadList::select(const QString &condition, const SqlValues &values,
                                                 const QString &index)
{
    RecordRows::Records records;
    reading([&] { return (records = m_rows->select(condition, values, index)).has_value(); });
    return records.value_or(QList<Record>());
}

bool DownloadList::reading(const std::function<bool()> &work)
{
    if (!isOpen())
        return fail(Failure::Kind::CannotReadList, Clause::Kind::ListNotOpen);
    m_failure = {};
    if (m_together)
        return changingWithOthers(Failure::Kind::CannotReadList, work);
    SqlError error;
    {
        const SqlTransaction transaction(m_rows->statements(), SqlTransaction::Kind::Read);
        if (work())
            return true;
        error = m_rows->lastError();
    }
    return failBy(Failure::Kind::CannotReadList, error);
}

bool DownloadList::changing(Lasting lasting, const std::function<bool()> &work)
{
    const auto kind = Failure::Kind::CannotChangeList;
    if (!isOpen())
        return fail(kind, Clause::Kind::ListNotOpen);
    m_failure = {};
    if (m_together)
        return changingWithOthers(kind, work);
    SqlError error;
    const bool done = changed(lasting, work, &error);
    return done || failBy(kind, error);
}

/// Where somebody has claimed the download since, or taken it out, nothing is done.
bool DownloadList::changingUnder(qint64 fence, qint64 id, Lasting lasting, const std::function<bool()> &work)
{
    Failure lost;
    const auto whereItIsOurs = [&] { return isOurs(id, fence, &lost) && work(); };
    const bool done = changing(lasting, whereItIsOurs);
    if (lost)
        m_failure = lost;
    return done;
}

/// Their transaction is open. Whether the list is damaged is asked once it is over.
bool DownloadList::changingWithOthers(Failure::Kind kind, const std::function<bool()> &work)
{
    if (work())
        return true;
    if (m_together->kind == Failure::Kind::None)
        *m_together = {kind, m_rows->lastError()};
    return fail(kind, m_together->error.clause());
}

bool DownloadList::changed(Lasting lasting, const std::function<bool()> &work, SqlError *error)
{
    if (lasting == Lasting::Always)
        setSynchronous(u"FULL"_s);
    const bool wasOwner = m_isOwner;
    bool done = false;
    {
        SqlTransaction transaction(m_rows->statements(), SqlTransaction::Kind::Write);
        const bool worked = transaction.isOpen() && work();
        done = worked && transaction.commit();
        m_isOwner = done ? m_isOwner : wasOwner;
        *error = transaction.isOpen() && !worked ? m_rows->lastError() : transaction.lastError();
    }
    if (lasting == Lasting::Always)
        setSynchronous(u"NORMAL"_s);
    return done;
}

/// Never prepared beforehand: it takes effect where it is prepared.
void DownloadList::setSynchronous(const QString &how)
{
    const QString statement = u"PRAGMA synchronous = "_s + how;
    if (m_observer)
        m_observer(statement);
    m_database->run(statement);
}

bool DownloadList::changesOne(const QString &statement, const SqlValues &values)
{
    auto change = m_rows->run(statement, values);
    return change && change->changes() == 1;
}

Failure::Subject DownloadList::subject() const
{
    Failure::Subject subject;
    subject.path = m_path;
    return subject;
}

bool DownloadList::fail(Failure::Kind kind, const Clause &reason, const QList<Remedy> &remedies)
{
    m_failure = Failure::make(kind, subject(), reason);
    m_failure.remedies = remedies;
    return false;
}

bool DownloadList::failToOpen(const Clause &reason, const QList<Remedy> &remedies)
{
    return fail(Failure::Kind::CannotOpenList, reason, remedies);
}

/// No error is that of a statement that found nothing to change.
bool DownloadList::failBy(Failure::Kind kind, const SqlError &error)
{
    const bool damaged = !m_isForReading && DamagedList::isConfirmed(*m_database, error);
    m_isNewOne = m_isNewOne || damaged;
    if (damaged && beginAnew())
        m_failure = m_warning ? m_warning : Failure::make(Failure::Kind::ListDamaged, subject());
    if (damaged)
        return false;
    if (error.isInUse())
        return fail(kind, Clause::Kind::ListInUse, {Remedy::TryLater, Remedy::StopFirst});
    if (error.isFull())
        return fail(kind, error.clause(), Schema::remediesOf(Schema::Outcome::Full));
    return fail(kind, error.isValid() ? error.clause() : Clause::Kind::NotOfThisProcess);
}
