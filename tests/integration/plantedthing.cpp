// SPDX-License-Identifier: MIT
#include <tests/integration/plantedthing.h>

#include <QDir>
#include <QFile>

#include <cerrno>

#include <sys/inotify.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace
{
constexpr uint32_t kHarms = IN_ACCESS | IN_MODIFY | IN_ATTRIB | IN_CREATE | IN_DELETE | IN_DELETE_SELF | IN_MOVE
    | IN_MOVE_SELF | IN_DONT_FOLLOW;

/// Kind, number, length and times of what stands there, whatever it is.
QByteArray stateOf(const QString &path)
{
    struct stat status = {};
    if (::lstat(QFile::encodeName(path).constData(), &status) != 0)
        return "nothing";
    const QList<qint64> values{qint64(status.st_mode),         qint64(status.st_ino),         qint64(status.st_rdev),
                               qint64(status.st_size),         qint64(status.st_nlink),       status.st_mtim.tv_sec,
                               qint64(status.st_mtim.tv_nsec), qint64(status.st_ctim.tv_nsec)};
    QByteArray text;
    for (const qint64 value : values)
        text += QByteArray::number(value) + ' ';
    return text + QFile::symLinkTarget(path).toUtf8();
}

bool writeForeign(const QString &path, qint64 size)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(QByteArray(size, '#')) == size;
}

bool canMakeDevices()
{
    const QTemporaryDir folder;
    return ::mknod(QFile::encodeName(folder.filePath(u"device"_s)).constData(), S_IFCHR | 0600, makedev(1, 3)) == 0;
}
}

QList<PlantedThing::Kind> PlantedThing::kinds()
{
    QList<Kind> all{Kind::File,   Kind::LinkToFile, Kind::LinkToNothing, Kind::LinkToDevice,
                    Kind::Folder, Kind::Pipe,       Kind::Socket};
    if (canMakeDevices())
        all.append(Kind::Device);
    return all;
}

QList<PlantedThing::Kind> PlantedThing::kindsButFolders()
{
    QList<Kind> all = kinds();
    all.removeIf([](Kind kind) { return kind == Kind::Folder || kind == Kind::LinkToNothing; });
    return all;
}

const char *PlantedThing::name(Kind kind)
{
    switch (kind) {
    case Kind::File:
        return "a file of equal length";
    case Kind::LinkToFile:
        return "a link to a file of equal length";
    case Kind::LinkToNothing:
        return "a link to nothing";
    case Kind::LinkToDevice:
        return "a link to a device";
    case Kind::Folder:
        return "a folder";
    case Kind::Pipe:
        return "a pipe";
    case Kind::Socket:
        return "a socket";
    case Kind::Device:
        return "a device";
    }
    return "";
}

PlantedThing::PlantedThing(Kind kind, qint64 size)
    : m_kind(kind)
    , m_size(size)
    , m_watch(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC))
{
}

PlantedThing::~PlantedThing()
{
    ::close(m_watch);
}

bool PlantedThing::make(const QString &path) const
{
    const QByteArray name = QFile::encodeName(path);
    switch (m_kind) {
    case Kind::File:
        return writeForeign(path, m_size);
    case Kind::LinkToFile:
        return writeForeign(victim(), m_size) && QFile::link(victim(), path);
    case Kind::LinkToNothing:
        return QFile::link(victim(), path);
    case Kind::LinkToDevice:
        return QFile::link(u"/dev/null"_s, path);
    case Kind::Folder:
        return QDir().mkdir(path);
    case Kind::Pipe:
        return ::mkfifo(name.constData(), 0600) == 0;
    case Kind::Socket:
        return ::mknod(name.constData(), S_IFSOCK | 0600, 0) == 0;
    case Kind::Device:
        return ::mknod(name.constData(), S_IFCHR | 0600, makedev(1, 3)) == 0;
    }
    return false;
}

bool PlantedThing::plant(const QString &path)
{
    m_path = path;
    if (!make(path))
        return false;
    for (const QString &watched : {m_path, victim(), m_elsewhere.path()}) {
        if (::inotify_add_watch(m_watch, QFile::encodeName(watched).constData(), kHarms) < 0 && errno != ENOENT)
            return false;
    }
    m_before = state();
    return true;
}

QByteArray PlantedThing::state() const
{
    return stateOf(m_path) + " -> " + stateOf(victim());
}

QString PlantedThing::harm() const
{
    alignas(inotify_event) char buffer[4096];
    if (::read(m_watch, buffer, sizeof buffer) > 0)
        return u"somebody did 0x%1 to it"_s.arg(reinterpret_cast<const inotify_event *>(buffer)->mask, 0, 16);
    const QByteArray now = state();
    return now == m_before ? QString() : QString::fromUtf8(m_before + " became " + now);
}

QByteArray PlantedThing::words() const
{
    switch (m_kind) {
    case Kind::File:
        return "another file than the one that this download made";
    case Kind::LinkToFile:
    case Kind::LinkToNothing:
    case Kind::LinkToDevice:
        return "a link, not a plain file";
    default:
        return QByteArray(name(m_kind)) + ", not a plain file";
    }
}
