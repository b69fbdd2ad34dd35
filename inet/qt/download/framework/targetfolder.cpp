// SPDX-License-Identifier: MIT
#include <inet/qt/download/framework/targetfolder.h>

#include <inet/qt/download/framework/plainfile.h>

#include <QDir>
#include <QFile>
#include <QMutex>
#include <QMutexLocker>

#include <cerrno>
#include <cstdio>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace
{

class Descriptor
{
    Q_DISABLE_COPY_MOVE(Descriptor)

public:
    explicit Descriptor(int number)
        : m_number(number)
    {
    }
    ~Descriptor()
    {
        if (m_number >= 0)
            ::close(m_number);
    }

    int number() const { return m_number; }
    bool isValid() const { return m_number >= 0; }

private:
    const int m_number;
};

int resultOf(int returned)
{
    return returned == 0 ? 0 : errno;
}

int makePath(const QString &path)
{
    const QByteArray name = QFile::encodeName(path);
    if (::mkdir(name.constData(), 0777) == 0 || errno == EEXIST)
        return 0;
    const QString parent = path.section(u'/', 0, -2);
    if (errno != ENOENT || parent.isEmpty())
        return errno;
    const int error = makePath(parent);
    return error != 0 ? error : resultOf(::mkdir(name.constData(), 0777));
}

/// A file that cannot be pushed to the disk because of what it lies on is not at fault.
int syncDescriptor(int number)
{
    if (::fsync(number) == 0 || errno == EINVAL || errno == ENOTSUP || errno == EROFS)
        return 0;
    return errno;
}

int sizeOf(int number, qint64 &size)
{
    struct stat status = {};
    if (::fstat(number, &status) != 0)
        return errno;
    size = status.st_size;
    return 0;
}

/// Between two threads that make files: what one has made is registered before the other looks whose it is.
QMutex &makingMutex()
{
    static QMutex mutex;
    return mutex;
}

}

TargetFolder::TargetFolder(const QString &path, const OwnFiles::Making &making)
    : m_path(QDir::cleanPath(path))
    , m_making(making)
{
}

TargetFolder::~TargetFolder()
{
    if (m_folder >= 0)
        ::close(m_folder);
}

int TargetFolder::open()
{
    if (m_path.isEmpty())
        return ENOENT;
    m_folder = ::open(QFile::encodeName(m_path).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (m_folder >= 0)
        return 0;
    int error = errno;
    if (error == ENOENT)
        error = m_making.mayMake && !m_making.mayMake() ? PlainFile::kTaken : makePath(m_path);
    if (error != 0)
        return error;
    m_folder = ::open(QFile::encodeName(m_path).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    return m_folder >= 0 ? 0 : errno;
}

int TargetFolder::enter(const QString &subPath)
{
    const QStringList components = subPath.isEmpty() ? QStringList() : subPath.split(u'/');
    for (const QString &component : components) {
        if (component.isEmpty() || component == "."_L1 || component == ".."_L1)
            return EACCES;
        const int next = ::openat(m_folder, QFile::encodeName(component).constData(),
                                  O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        if (next < 0)
            return errno;
        ::close(std::exchange(m_folder, next));
        m_path += u'/' + component;
    }
    return 0;
}

QString TargetFolder::pathOf(const QString &name) const
{
    return name.isEmpty() ? m_path : m_path + u'/' + name;
}

bool TargetFolder::exists(const QString &name) const
{
    struct stat status = {};
    return ::fstatat(m_folder, QFile::encodeName(name).constData(), &status, AT_SYMLINK_NOFOLLOW) == 0;
}

bool TargetFolder::isFolder(const QString &name) const
{
    struct stat status = {};
    return ::fstatat(m_folder, QFile::encodeName(name).constData(), &status, AT_SYMLINK_NOFOLLOW) == 0
        && S_ISDIR(status.st_mode);
}

qint64 TargetFolder::fileSize(const QString &name) const
{
    struct stat status = {};
    const int result = ::fstatat(m_folder, QFile::encodeName(name).constData(), &status, AT_SYMLINK_NOFOLLOW);
    return result == 0 && S_ISREG(status.st_mode) ? qint64(status.st_size) : -1;
}

bool TargetFolder::mayChange(const QString &name) const
{
    return (!m_making.mayMake || m_making.mayMake()) && OwnFiles::mayChange(pathOf(name));
}

bool TargetFolder::isAnothers(const QString &name) const
{
    const FileIdentity file = FileIdentity::in(m_folder, name);
    return OwnFiles::isAnyones(file) || m_making.others.contains(file);
}

int TargetFolder::createExclusively(const QString &name)
{
    if (!mayChange(name))
        return PlainFile::kTaken;
    const QMutexLocker lock(&makingMutex());
    return make(name);
}

int TargetFolder::makeAnew(const QString &name)
{
    if (!mayChange(name))
        return PlainFile::kTaken;
    const QMutexLocker lock(&makingMutex());
    if (isAnothers(name))
        return EEXIST;
    const int error = resultOf(::unlinkat(m_folder, QFile::encodeName(name).constData(), 0));
    return error == 0 || error == ENOENT ? make(name) : error;
}

int TargetFolder::make(const QString &name)
{
    const Descriptor file(::openat(m_folder, QFile::encodeName(name).constData(),
                                   O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666));
    if (!file.isValid())
        return errno;
    OwnFiles::set(pathOf(name), FileIdentity::of(file.number()));
    return 0;
}

int TargetFolder::takeOver(const QString &name)
{
    int error = mayChange(name) ? 0 : PlainFile::kTaken;
    const QMutexLocker lock(&makingMutex());
    if (error == 0 && isAnothers(name))
        error = EEXIST;
    const Descriptor file(error == 0 ? PlainFile::open(m_folder, name, O_RDWR, error) : -1);
    if (file.isValid())
        OwnFiles::set(pathOf(name), FileIdentity::of(file.number()));
    return error;
}

bool TargetFolder::isOwnUnder(const QString &newName, const QString &name) const
{
    return OwnFiles::isKnown(pathOf(name), FileIdentity::in(m_folder, newName));
}

bool TargetFolder::isOtherUnder(const QString &newName, const QString &name) const
{
    return OwnFiles::isOther(pathOf(name), FileIdentity::in(m_folder, newName));
}

int TargetFolder::remove(const QString &name)
{
    if (!mayChange(name))
        return PlainFile::kTaken;
    return resultOf(::unlinkat(m_folder, QFile::encodeName(name).constData(), 0));
}

int TargetFolder::bringToSize(const QString &name, qint64 size, bool mayGrow, qint64 &found)
{
    if (!mayChange(name))
        return PlainFile::kTaken;
    int error = 0;
    const Descriptor file(PlainFile::open(m_folder, name, O_RDWR, error));
    if (!file.isValid())
        return error;
    error = OwnFiles::isOwn(pathOf(name), file.number()) ? sizeOf(file.number(), found) : PlainFile::kAnotherFile;
    if (error == 0 && size >= 0 && found < size && !mayGrow)
        error = ENODATA;
    if (error == 0 && size >= 0 && found != size)
        error = resultOf(::ftruncate(file.number(), size));
    return error != 0 ? error : syncDescriptor(file.number());
}

int TargetFolder::renameWithoutReplacing(const QString &name, const QString &newName)
{
    if (!mayChange(name))
        return PlainFile::kTaken;
    const QByteArray from = QFile::encodeName(name);
    const QByteArray to = QFile::encodeName(newName);
    if (::renameat2(m_folder, from.constData(), m_folder, to.constData(), RENAME_NOREPLACE) == 0)
        return 0;
    if (errno != EINVAL && errno != ENOSYS && errno != ENOTSUP)
        return errno;
    if (::linkat(m_folder, from.constData(), m_folder, to.constData(), 0) == 0)
        return remove(name);
    if (errno != EPERM && errno != ENOTSUP && errno != ENOSYS)
        return errno;
    // A file system with neither has no way to do both at once; what is there can still be seen.
    return exists(newName) ? EEXIST : renameOver(name, newName);
}

int TargetFolder::renameOver(const QString &name, const QString &newName)
{
    if (!mayChange(name))
        return PlainFile::kTaken;
    return resultOf(
        ::renameat(m_folder, QFile::encodeName(name).constData(), m_folder, QFile::encodeName(newName).constData()));
}

int TargetFolder::sync()
{
    return syncDescriptor(m_folder);
}
