// SPDX-License-Identifier: MIT
#include <host/storage/renamedfile.h>

#include <QDir>
#include <QFile>
#include <QStringList>

#include <cstdio>
#include <fcntl.h>

using namespace Qt::StringLiterals;

namespace
{

constexpr auto kEnding = ".part"_L1;

/// The name as it was meant to be, and the incomplete one without its ending: they differ when the first was taken.
QStringList finalPaths(const AbstractDownloadPersistentInfo &record)
{
    const AbstractDownloadFileInfo &file = record.files.first();
    const QDir folder(record.folder);
    QStringList paths{folder.filePath(file.name)};
    if (file.relativePath().endsWith(kEnding))
        paths.append(folder.filePath(file.relativePath().chopped(kEnding.size())));
    return paths;
}

bool renameToFree(const QString &from, const QString &to)
{
    return ::renameat2(AT_FDCWD, QFile::encodeName(from).constData(), AT_FDCWD, QFile::encodeName(to).constData(),
                       RENAME_NOREPLACE)
        == 0;
}

}

bool RenamedFile::takeBack(const AbstractDownloadPersistentInfo &record, const FileIdentity &file)
{
    if (!file.isKnown() || record.isFinished() || record.files.isEmpty() || !record.files.first().isOnDisk())
        return false;
    const QString path = record.filePath(0);
    const QStringList candidates = finalPaths(record);
    for (const QString &candidate : candidates) {
        if (candidate != path && FileIdentity::of(candidate) == file)
            return renameToFree(candidate, path);
    }
    return false;
}

bool RenamedFile::toIncomplete(const QString &path)
{
    return renameToFree(path, path + kEnding);
}

bool RenamedFile::toFinal(const QString &path)
{
    return renameToFree(path + kEnding, path);
}
