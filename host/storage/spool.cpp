// SPDX-License-Identifier: MIT
#include <host/storage/spool.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace
{

constexpr int kNone = -1;
/// What the disk is given back at once at least; in whole blocks of any file system.
constexpr qint64 kStep = qint64(1024) * 1024;

int openFolder(const QString &path)
{
    return ::open(QFile::encodeName(path).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NOFOLLOW);
}

/// Of a process that died; one that is in use is locked.
void removeIfAbandoned(const QString &path)
{
    const int folder = openFolder(path);
    if (folder == kNone)
        return;
    if (::flock(folder, LOCK_EX | LOCK_NB) == 0)
        QDir(path).removeRecursively();
    ::close(folder);
}

/// A new folder and its lock. @param errorNumber the system's, where the answer is kNone
int makeLocked(const QString &below, QString *path, int *errorNumber)
{
    QByteArray name = QFile::encodeName(below + "/stream-XXXXXX"_L1);
    if (!::mkdtemp(name.data())) {
        *errorNumber = errno;
        return kNone;
    }
    *path = QFile::decodeName(name);
    const int folder = openFolder(*path);
    *errorNumber = errno;
    if (folder != kNone)
        ::flock(folder, LOCK_EX);
    return folder;
}

/// Qt would take the root for a home folder where there is none.
bool hasCache()
{
    return QDir::isAbsolutePath(qEnvironmentVariable("XDG_CACHE_HOME"))
        || QDir::isAbsolutePath(qEnvironmentVariable("HOME"));
}

/// Whoever clears away waits until a new folder is locked.
int makeInCache(QString *path)
{
    const QString below = QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation) + "/plait/streams"_L1;
    if (!hasCache() || !QDir().mkpath(below))
        return kNone;
    const int all = openFolder(below);
    if (all == kNone)
        return kNone;
    ::fchmod(all, S_IRWXU);
    ::flock(all, LOCK_EX);
    const QStringList names = QDir(below).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString &name : names)
        removeIfAbandoned(below + u'/' + name);
    int errorNumber = 0;
    const int folder = makeLocked(below, path, &errorNumber);
    ::close(all);
    return folder;
}

}

std::unique_ptr<Spool> Spool::make(Clause *why)
{
    QString path;
    int errorNumber = 0;
    int lock = makeInCache(&path);
    if (lock == kNone)
        lock = makeLocked(QDir::tempPath(), &path, &errorNumber);
    if (lock != kNone)
        return std::unique_ptr<Spool>(new Spool(path, lock));
    *why = {Clause::Kind::NoFolderMade, {QDir::tempPath()}, QString::fromLocal8Bit(std::strerror(errorNumber))};
    return nullptr;
}

Spool::Spool(const QString &folder, int lock)
    : m_folder(folder)
    , m_lock(lock)
{
}

Spool::~Spool()
{
    if (m_file != kNone)
        ::close(m_file);
    QDir(m_folder).removeRecursively();
    ::close(m_lock);
}

bool Spool::setFile(const QString &path)
{
    if (m_file == kNone)
        m_file = ::open(QFile::encodeName(path).constData(), O_RDWR | O_NOFOLLOW | O_CLOEXEC);
    return m_file != kNone;
}

void Spool::free(qint64 bytes)
{
    const qint64 end = bytes / kStep * kStep;
    if (m_file == kNone || end <= m_freed)
        return;
    (void)::fallocate(m_file, FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, m_freed, end - m_freed);
    m_freed = end;
}
