// SPDX-License-Identifier: MIT
#include <inet/qt/download/framework/plainfile.h>

#include <QFile>

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace
{

constexpr int kAlways = O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;

QString kindOf(mode_t mode)
{
    switch (mode & S_IFMT) {
    case S_IFLNK:
        return u"a link"_s;
    case S_IFDIR:
        return u"a folder"_s;
    case S_IFIFO:
        return u"a pipe"_s;
    case S_IFSOCK:
        return u"a socket"_s;
    case S_IFCHR:
    case S_IFBLK:
        return u"a device"_s;
    default:
        return {};
    }
}

/// 0 when a plain file is there, or nothing.
int lookAt(int folder, const QByteArray &name)
{
    struct stat status = {};
    if (::fstatat(folder, name.constData(), &status, AT_SYMLINK_NOFOLLOW) != 0)
        return errno == ENOENT ? 0 : errno;
    return S_ISREG(status.st_mode) ? 0 : ENOTSUP;
}

int lookAt(int file)
{
    struct stat status = {};
    if (::fstat(file, &status) != 0)
        return errno;
    return S_ISREG(status.st_mode) ? 0 : ENOTSUP;
}

}

int PlainFile::open(int folder, const QString &name, int flags, int &error)
{
    const QByteArray path = QFile::encodeName(name);
    error = lookAt(folder, path);
    if (error != 0)
        return -1;
    const int mode = (flags & O_ACCMODE) == 0 ? O_RDWR : 0;
    const int file = ::openat(folder, path.constData(), flags | mode | kAlways, 0666);
    error = file < 0 ? errno : lookAt(file);
    // A link or a socket that came after the look.
    if (error == ELOOP || error == ENXIO)
        error = ENOTSUP;
    if (error == 0)
        return file;
    if (file >= 0)
        ::close(file);
    return -1;
}

int PlainFile::open(const QString &path, int flags, int &error)
{
    return open(AT_FDCWD, path, flags, error);
}

QString PlainFile::reason(const QString &path, int error)
{
    if (error == kAnotherFile)
        return u"it is another file than the one that this download made"_s;
    if (error == kTaken)
        return u"another process is at work on it by now"_s;
    struct stat status = {};
    const bool isThere = error == ENOTSUP && ::lstat(QFile::encodeName(path).constData(), &status) == 0;
    const QString kind = isThere ? kindOf(status.st_mode) : QString();
    return kind.isEmpty() ? QString::fromLocal8Bit(std::strerror(error)) : "it is "_L1 + kind + ", not a plain file"_L1;
}

bool PlainFile::isInTheWay(int error)
{
    switch (error) {
    case kAnotherFile:
    case EEXIST:
    case EISDIR:
    case ELOOP:
    case ENOTSUP:
        return true;
    default:
        return false;
    }
}
