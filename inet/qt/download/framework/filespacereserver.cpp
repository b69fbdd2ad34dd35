// SPDX-License-Identifier: MIT
#include <inet/qt/download/framework/filespacereserver.h>

#include <inet/qt/download/framework/plainfile.h>

#include <QScopeGuard>

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace
{

constexpr qint64 kPiece = Q_INT64_C(1024) * 1024;

int allocate(int file, qint64 size)
{
    int result = 0;
    do {
        result = ::fallocate(file, 0, 0, size);
    } while (result != 0 && errno == EINTR);
    return result == 0 ? 0 : errno;
}

bool isRegular(int file, qint64 &length)
{
    struct stat status = {};
    if (::fstat(file, &status) != 0 || !S_ISREG(status.st_mode))
        return false;
    length = status.st_size;
    return true;
}

bool isSameFile(int one, int other)
{
    struct stat first = {};
    struct stat second = {};
    return ::fstat(one, &first) == 0 && ::fstat(other, &second) == 0 && first.st_dev == second.st_dev
        && first.st_ino == second.st_ino;
}

}

FileSpaceReserver::FileSpaceReserver(const QString &path, qint64 size)
    : m_path(path)
    , m_size(size)
{
}

FileSpaceReserver::Result FileSpaceReserver::reserveAtOnce(int file)
{
    if (!isRegular(file, m_reserved))
        return Result::Done;
    const int error = allocate(file, m_size);
    switch (error) {
    case 0:
        m_reserved = m_size;
        return Result::Done;
    case ENOSPC:
    case EFBIG:
    case EDQUOT:
    case EIO:
        return fail(error);
    default:
        return checkFreeSpace(file);
    }
}

/// Zeros are written only where they have a chance to fit: a disk filled to the brim harms everybody.
FileSpaceReserver::Result FileSpaceReserver::checkFreeSpace(int file)
{
    struct statvfs disk = {};
    const qint64 missing = m_size - m_reserved;
    if (missing <= 0)
        return Result::Done;
    if (::fstatvfs(file, &disk) == 0 && qint64(disk.f_bavail) < missing / qMax(qint64(disk.f_frsize), qint64(1)))
        return fail(ENOSPC);
    return Result::MoreToDo;
}

FileSpaceReserver::Result FileSpaceReserver::reserveStep(int file)
{
    if (!isRegular(file, m_reserved) || m_reserved >= m_size)
        return Result::Done;
    return appendZeros(file, qMin(kStep, m_size - m_reserved));
}

/// Through a descriptor that only appends: the end of the file may move by data that another writer puts down at this
/// very moment, and the zeros must land behind it.
FileSpaceReserver::Result FileSpaceReserver::appendZeros(int file, qint64 count)
{
    static const QByteArray zeros(kPiece, '\0');
    int error = 0;
    const int appender = PlainFile::open(m_path, O_WRONLY | O_APPEND, error);
    if (appender < 0)
        return fail(error);
    const auto closing = qScopeGuard([appender] { ::close(appender); });
    if (!isSameFile(file, appender))
        return fail(PlainFile::kAnotherFile);
    while (count > 0) {
        const ssize_t written = ::write(appender, zeros.constData(), size_t(qMin(count, kPiece)));
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return fail(written < 0 ? errno : ENOSPC);
        count -= written;
        m_reserved += written;
    }
    return m_reserved >= m_size ? Result::Done : Result::MoreToDo;
}

FileSpaceReserver::Result FileSpaceReserver::fail(int number)
{
    m_errorNumber = number;
    return Result::Failed;
}
