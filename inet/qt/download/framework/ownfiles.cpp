// SPDX-License-Identifier: MIT
#include <inet/qt/download/framework/ownfiles.h>

#include <QDir>
#include <QHash>
#include <QMutex>
#include <QMutexLocker>

namespace
{

struct Known {
    QMutex mutex;
    QHash<QString, FileIdentity> files;
    QHash<QString, OwnFiles::Permission> permissions;
    QHash<QString, OwnFiles::Permission> permissionsToMake;
};

Known &known()
{
    static Known instance;
    return instance;
}

FileIdentity knownAt(const QString &path)
{
    const QMutexLocker lock(&known().mutex);
    return known().files.value(QDir::cleanPath(path));
}

}

void OwnFiles::set(const QString &path, const FileIdentity &file)
{
    const bool isThere = file.isKnown() && file.plannedAt() == 0;
    const QMutexLocker lock(&known().mutex);
    known().files.insert(QDir::cleanPath(path), isThere ? file : FileIdentity());
}

void OwnFiles::forget(const QString &path)
{
    const QMutexLocker lock(&known().mutex);
    known().files.remove(QDir::cleanPath(path));
    known().permissions.remove(QDir::cleanPath(path));
}

void OwnFiles::setPermission(const QString &path, const Permission &mayChange)
{
    const QMutexLocker lock(&known().mutex);
    known().permissions.insert(QDir::cleanPath(path), mayChange);
}

OwnFiles::Permission OwnFiles::permission(const QString &path)
{
    const QMutexLocker lock(&known().mutex);
    return known().permissions.value(QDir::cleanPath(path));
}

bool OwnFiles::mayChange(const QString &path)
{
    const Permission asked = permission(path);
    return !asked || asked();
}

void OwnFiles::setPermissionToMake(const QString &path, const Permission &mayMake)
{
    const QMutexLocker lock(&known().mutex);
    if (mayMake)
        known().permissionsToMake.insert(QDir::cleanPath(path), mayMake);
    else
        known().permissionsToMake.remove(QDir::cleanPath(path));
}

OwnFiles::Permission OwnFiles::takePermissionToMake(const QString &path)
{
    const QMutexLocker lock(&known().mutex);
    return known().permissionsToMake.take(QDir::cleanPath(path));
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

bool OwnFiles::isKnown(const QString &path, const FileIdentity &file)
{
    const FileIdentity own = knownAt(path);
    return own.isKnown() && own == file;
}

bool OwnFiles::isOther(const QString &path, const FileIdentity &file)
{
    return knownAt(path).isOther(file);
}
