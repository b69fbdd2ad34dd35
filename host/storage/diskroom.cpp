// SPDX-License-Identifier: MIT
#include <host/storage/diskroom.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <filesystem>
#include <limits>
#include <system_error>

#include <sys/stat.h>

namespace
{

/// stat() counts in these, whatever the file system's blocks are.
constexpr qint64 kBlock = 512;

QString nearestThatIs(const QString &folder)
{
    QString path = QDir::cleanPath(folder);
    while (!QFileInfo::exists(path) && QFileInfo(path).path() != path)
        path = QFileInfo(path).path();
    return path;
}

}

/// Asked of the folder itself: in a container its mount may be listed nowhere.
qint64 DiskRoom::freeIn(const QString &folder)
{
    std::error_code error;
    const auto space = std::filesystem::space(QFile::encodeName(nearestThatIs(folder)).toStdString(), error);
    const bool isKnown = !error && space.available <= std::uintmax_t(std::numeric_limits<qint64>::max());
    return isKnown ? qint64(space.available) : -1;
}

qint64 DiskRoom::takenBy(const QString &path)
{
    struct stat status = {};
    return ::stat(QFile::encodeName(path).constData(), &status) == 0 ? qint64(status.st_blocks) * kBlock : 0;
}
