// SPDX-License-Identifier: MIT
#include <inet/qt/download/framework/ownfiles.h>

#include <QDir>
#include <QHash>
#include <QMutex>
#include <QMutexLocker>

#include <algorithm>

namespace
{

struct Given {
    quint64 number = 0;
    OwnFiles::Permission mayChange;
};

struct Known {
    QMutex mutex;
    QHash<QString, FileIdentity> files;
    QHash<QString, Given> permissions;
    quint64 given = 0; ///< permissions, until now
    QHash<QString, OwnFiles::Making> making;
};

Known &known()
{
    static Known instance;
    return instance;
}

}

void OwnFiles::set(const QString &path, const FileIdentity &file)
{
    const bool isThere = file.isKnown() && file.plannedAt() == 0;
    const QMutexLocker lock(&known().mutex);
    known().files.insert(QDir::cleanPath(path), isThere ? file : FileIdentity());
}

FileIdentity OwnFiles::at(const QString &path)
{
    const QMutexLocker lock(&known().mutex);
    return known().files.value(QDir::cleanPath(path));
}

void OwnFiles::forget(const QString &path, const FileIdentity &file)
{
    const QMutexLocker lock(&known().mutex);
    const auto found = known().files.constFind(QDir::cleanPath(path));
    if (found != known().files.constEnd() && !found->isOther(file))
        known().files.erase(found);
}

quint64 OwnFiles::setPermission(const QString &path, const Permission &mayChange)
{
    const QMutexLocker lock(&known().mutex);
    const quint64 number = ++known().given;
    known().permissions.insert(QDir::cleanPath(path), {number, mayChange});
    return number;
}

void OwnFiles::takeBackPermission(const QString &path, quint64 number)
{
    const QMutexLocker lock(&known().mutex);
    const auto found = known().permissions.constFind(QDir::cleanPath(path));
    if (found != known().permissions.constEnd() && found->number == number)
        known().permissions.erase(found);
}

OwnFiles::Permission OwnFiles::permission(const QString &path)
{
    const QMutexLocker lock(&known().mutex);
    return known().permissions.value(QDir::cleanPath(path)).mayChange;
}

bool OwnFiles::mayChange(const QString &path)
{
    const Permission asked = permission(path);
    return !asked || asked();
}

void OwnFiles::setMaking(const QString &path, const Making &making)
{
    const QMutexLocker lock(&known().mutex);
    known().making.insert(QDir::cleanPath(path), making);
}

void OwnFiles::endMaking(const QString &path)
{
    takeMaking(path);
}

OwnFiles::Making OwnFiles::takeMaking(const QString &path)
{
    const QMutexLocker lock(&known().mutex);
    return known().making.take(QDir::cleanPath(path));
}

bool OwnFiles::isOwn(const QString &path, int descriptor)
{
    const FileIdentity file = FileIdentity::of(descriptor);
    const QMutexLocker lock(&known().mutex);
    FileIdentity &own = known().files[QDir::cleanPath(path)];
    if (!own.isKnown())
        own = file;
    return !own.isOther(file);
}

bool OwnFiles::isAnyones(const FileIdentity &file)
{
    if (!file.isKnown())
        return false;
    const QMutexLocker lock(&known().mutex);
    return std::find(known().files.cbegin(), known().files.cend(), file) != known().files.cend();
}

bool OwnFiles::isKnown(const QString &path, const FileIdentity &file)
{
    const FileIdentity own = at(path);
    return own.isKnown() && own == file;
}

bool OwnFiles::isOther(const QString &path, const FileIdentity &file)
{
    return at(path).isOther(file);
}
