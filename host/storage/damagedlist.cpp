// SPDX-License-Identifier: MIT
#include <host/storage/damagedlist.h>

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QVariant>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace
{

// SQLite's result codes; more exact ones have them in their lowest byte.
constexpr int kCorrupt = 11;
constexpr int kNotADatabase = 26;

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

bool DamagedList::isDamage(const QSqlError &error)
{
    const int code = error.nativeErrorCode().toInt() & 0xff;
    return code == kCorrupt || code == kNotADatabase;
}

bool DamagedList::looksDamaged(const QSqlDatabase &database)
{
    QSqlQuery names(database);
    bool damage = !names.exec(u"SELECT name FROM sqlite_master WHERE type = 'table'"_s) && isDamage(names.lastError());
    while (!damage && names.next()) {
        QSqlQuery row(database);
        const QString statement = u"SELECT 1 FROM \"%1\" NOT INDEXED LIMIT 1"_s.arg(names.value(0).toString());
        damage = !row.exec(statement) && isDamage(row.lastError());
    }
    return damage;
}

bool DamagedList::isDamaged(const QSqlDatabase &database)
{
    QSqlQuery query(database);
    if (query.exec(u"PRAGMA integrity_check(1)"_s) && query.next())
        return query.value(0).toString() != "ok"_L1;
    // A check that cannot be made for another reason says nothing about the content.
    return isDamage(query.lastError());
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
