// SPDX-License-Identifier: MIT
#include <host/storage/logfile.h>

#include <host/policy/redaction.h>
#include <host/policy/shown.h>

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace
{

constexpr mode_t kOwnerOnly = 0600;
constexpr mode_t kAllRights = 07777;

/// In a folder that others may write to, they could put links where the log goes.
void makeFolder(const QString &path)
{
    const QFileInfo folder(path);
    if (folder.exists())
        return;
    QDir().mkpath(folder.absolutePath());
    QDir().mkdir(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

Clause reasonOf(int number)
{
    if (number == ELOOP)
        return Clause::Kind::SymbolicLink;
    return QString::fromLocal8Bit(std::strerror(number));
}

/// Empty = it will do.
Clause objectionTo(int file)
{
    struct stat found = {};
    if (fstat(file, &found) != 0)
        return reasonOf(errno);
    if (!S_ISREG(found.st_mode))
        return Clause::Kind::NoPlainFile;
    if (found.st_nlink > 1)
        return Clause::Kind::HasOtherName;
    if (found.st_uid != geteuid())
        return Clause::Kind::OfSomebodyElse;
    const bool isPrivate = (found.st_mode & kAllRights) == kOwnerOnly;
    return isPrivate || fchmod(file, kOwnerOnly) == 0 ? Clause() : reasonOf(errno);
}

/// -1, with the reason in @p why, where it cannot be used. Whatever else lies there neither blocks nor is
/// changed.
int opened(const QByteArray &path, int flags, Clause *why)
{
    const int file =
        ::open(path.constData(), flags | O_APPEND | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, kOwnerOnly);
    *why = file < 0 ? reasonOf(errno) : objectionTo(file);
    if (why->isEmpty())
        return file;
    if (file >= 0)
        ::close(file);
    return -1;
}

QByteArray nameOfOld(const QByteArray &path, int number)
{
    return path + '.' + QByteArray::number(number);
}

/// An earlier version may have left them open to all.
void closeOldFiles(const QByteArray &path)
{
    Clause ignored;
    for (int i = 1; i <= LogFile::kOldFiles; ++i) {
        const int file = opened(nameOfOld(path, i), O_WRONLY, &ignored);
        if (file >= 0)
            ::close(file);
    }
}

/// Strangers' words may be endless. Of what is cut off no half remains: the end is what tells a login from a host.
QString shortened(const QString &text)
{
    if (text.size() <= LogFile::kLongestText)
        return text;
    return text.left(text.lastIndexOf(u' ', LogFile::kLongestText) + 1) + u'…';
}

}

LogFile::~LogFile()
{
    close();
}

bool LogFile::open(const QString &path, Clause *why)
{
    close();
    makeFolder(QFileInfo(path).absolutePath());
    m_path = QFile::encodeName(path);
    closeOldFiles(m_path);
    return reopen(why);
}

QByteArray LogFile::lineOf(int level, const QString &text)
{
    const QString head = now() + u' ' + QString::number(level);
    return (head + u' ' + Shown::visible(Redaction::line(shortened(text))) + u'\n').toUtf8();
}

/// What local time is has the system look at a file, and a second has many lines.
QString LogFile::now()
{
    constexpr int kThousand = 1000;
    const qint64 time = QDateTime::currentMSecsSinceEpoch();
    if (const qint64 second = time / kThousand; std::exchange(m_second, second) != second)
        m_secondText = QDateTime::fromSecsSinceEpoch(second).toString(Qt::ISODate);
    return m_secondText + u'.' + QString::number(time % kThousand).rightJustified(3, u'0');
}

void LogFile::write(int level, const QString &text)
{
    const QByteArray line = lineOf(level, text);
    if (m_file < 0 || !makeRoom(line.size()))
        return;
    ssize_t written = 0;
    do {
        written = ::write(m_file, line.constData(), size_t(line.size()));
    } while (written < 0 && errno == EINTR);
}

bool LogFile::reopen(Clause *why)
{
    close();
    m_file = opened(m_path, O_WRONLY | O_CREAT, why);
    struct stat found = {};
    if (m_file >= 0 && fstat(m_file, &found) == 0) {
        m_device = found.st_dev;
        m_inode = found.st_ino;
    }
    return m_file >= 0;
}

/// Nothing where another program has moved it aside.
std::optional<qint64> LogFile::sizeAtItsPlace() const
{
    struct stat there = {};
    const bool isThere = lstat(m_path.constData(), &there) == 0 && there.st_ino == m_inode && there.st_dev == m_device;
    return isThere ? std::optional<qint64>(there.st_size) : std::nullopt;
}

/// Whoever moves the file aside holds its lock; who waited for that finds another file in its place. Without room
/// nothing is logged any more: the bound holds whatever lies in the way.
bool LogFile::makeRoom(qint64 bytes)
{
    Clause ignored;
    std::optional<qint64> size = sizeAtItsPlace();
    if (!size) {
        if (!reopen(&ignored))
            return false;
        size = sizeAtItsPlace();
    }
    if (size.value_or(0) + bytes <= kMostBytes)
        return true;
    while (flock(m_file, LOCK_EX) != 0 && errno == EINTR) {}
    if (sizeAtItsPlace() && !moveAside()) {
        close();
        return false;
    }
    return reopen(&ignored);
}

bool LogFile::moveAside() const
{
    for (int i = kOldFiles; i > 1; --i)
        std::rename(nameOfOld(m_path, i - 1).constData(), nameOfOld(m_path, i).constData());
    return std::rename(m_path.constData(), nameOfOld(m_path, 1).constData()) == 0;
}

void LogFile::close()
{
    if (m_file >= 0)
        ::close(m_file);
    m_file = -1;
}
