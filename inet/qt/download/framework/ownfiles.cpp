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
    if (!file.isKnown() || file.plannedAt() > 0) {
        forget(path);
        return;
    }
    const QMutexLocker lock(&known().mutex);
    known().files.insert(QDir::cleanPath(path), file);
}

void OwnFiles::forget(const QString &path)
{
    const QMutexLocker lock(&known().mutex);
    known().files.remove(QDir::cleanPath(path));
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
