// SPDX-License-Identifier: MIT
#include <host/storage/damagedlist.h>

#include <host/storage/plainfile.h>
#include <host/storage/schema.h>
#include <host/storage/sqldatabase.h>

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <optional>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace
{

const QByteArray kMagic = QByteArrayLiteral("SQLite format 3");

// SQLite's result codes; more exact ones have them in their lowest byte.
constexpr int kError = 1;
constexpr int kCorrupt = 11;
constexpr int kSchemaChanged = 17;
constexpr int kConstraint = 19;
constexpr int kMismatch = 20;
constexpr int kNotADatabase = 26;

int codeOf(const SqlError &error)
{
    return error.number & 0xff;
}

/// Rows that belong to no download: SQLite checks that only while they change.
bool hasStrays(const SqlDatabase &database)
{
    return database.run(u"PRAGMA foreign_key_check"_s).next();
}

/// One process at a time, as long as this object lives. A folder can be locked without leaving a file behind.
class FolderLock
{
    Q_DISABLE_COPY_MOVE(FolderLock)

public:
    explicit FolderLock(const QString &folder)
        : m_descriptor(::open(QFile::encodeName(folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC))
    {
        if (m_descriptor >= 0)
            ::flock(m_descriptor, LOCK_EX);
    }

    ~FolderLock()
    {
        if (m_descriptor >= 0)
            ::close(m_descriptor);
    }

private:
    const int m_descriptor;
};

/// "…damaged-20240301-123000", and with "-2", "-3" behind it when there was one in the same second.
QString freeName(const QString &path)
{
    const QString base = path + u".damaged-"_s + QDateTime::currentDateTime().toString(u"yyyyMMdd-HHmmss"_s);
    QString name = base;
    for (int i = 2; QFileInfo::exists(name) || QFileInfo::exists(name + "-wal"_L1); ++i)
        name = base + u"-%1"_s.arg(i);
    return name;
}

bool moveIfThere(const QString &from, const QString &to)
{
    return ::rename(QFile::encodeName(from).constData(), QFile::encodeName(to).constData()) == 0 || errno == ENOENT;
}

}

bool DamagedList::isDamage(const SqlError &error)
{
    return suspicionOf(error) == Suspicion::Content;
}

DamagedList::Suspicion DamagedList::suspicionOf(const SqlError &error)
{
    if (!error.isValid())
        return Suspicion::Tables;
    switch (codeOf(error)) {
    case kCorrupt:
    case kNotADatabase:
        return Suspicion::Content;
    case kError:
    case kSchemaChanged:
    case kConstraint:
    case kMismatch:
        return Suspicion::Tables;
    default:
        return Suspicion::None;
    }
}

bool DamagedList::isConfirmed(const SqlDatabase &database, const SqlError &error)
{
    switch (suspicionOf(error)) {
    case Suspicion::None:
        return false;
    case Suspicion::Content:
        return isDamaged(database);
    case Suspicion::Tables:
        break;
    }
    if (!Schema::isWhole(database))
        return true;
    return error.isValid() && codeOf(error) == kConstraint && (isDamaged(database) || hasStrays(database));
}

bool DamagedList::mayBeList(const QString &path)
{
    if (path.endsWith(".sqlite"_L1))
        return true;
    const std::optional<QByteArray> beginning = SqlDatabase::beginningOf(path, int(kMagic.size()));
    return !beginning || beginning->isEmpty() || *beginning == kMagic;
}

Clause DamagedList::obstacleAt(const QString &path)
{
    for (const QLatin1String suffix : {""_L1, "-journal"_L1, "-wal"_L1, "-shm"_L1}) {
        const Clause obstacle = PlainFile::obstacleAt(path + suffix);
        if (!obstacle.isEmpty())
            return suffix.isEmpty() ? Clause(Clause::Kind::NotAFile, {}, obstacle)
                                    : Clause(Clause::Kind::NotAFileBeside, {path + suffix}, obstacle);
    }
    return {};
}

bool DamagedList::looksDamaged(const SqlDatabase &database)
{
    SqlStatement names = database.run(u"SELECT name FROM sqlite_master WHERE type = 'table'"_s);
    bool damage = !names && isDamage(names.lastError());
    while (!damage && names.next()) {
        const SqlStatement row =
            database.run(u"SELECT 1 FROM \"%1\" NOT INDEXED LIMIT 1"_s.arg(names.value(0).toText()));
        damage = !row && isDamage(row.lastError());
    }
    return damage;
}

bool DamagedList::isDamaged(const SqlDatabase &database)
{
    SqlStatement check = database.run(u"PRAGMA integrity_check(1)"_s);
    if (check.next())
        return check.value(0).toText() != "ok"_L1;
    // A check that cannot be made for another reason says nothing about the content.
    return isDamage(check.lastError());
}

quint64 DamagedList::inodeOf(const QString &path)
{
    struct stat status;
    return ::stat(QFile::encodeName(path).constData(), &status) == 0 ? quint64(status.st_ino) : 0;
}

QString DamagedList::setAside(const QString &path, quint64 inode, QString *newPath)
{
    newPath->clear();
    const FolderLock lock(QFileInfo(path).absolutePath());
    if (inodeOf(path) != inode)
        return {};
    const QString name = freeName(path);
    // The database last: whoever finds none under the old name finds nothing of the old one beside it either.
    for (const QLatin1String suffix : {"-wal"_L1, "-shm"_L1, ""_L1}) {
        if (!moveIfThere(path + suffix, name + suffix))
            return QString::fromLocal8Bit(::strerror(errno));
    }
    *newPath = name;
    return {};
}
