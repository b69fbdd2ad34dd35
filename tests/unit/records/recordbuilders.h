// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/records/abstractdownloadpersistentinfo.h>

/// Short ways to write the records of a table.
namespace RecordBuilders
{

using Info = AbstractDownloadPersistentInfo;
using File = AbstractDownloadFileInfo;

inline constexpr bool kNotSelected = false;
inline constexpr quint8 kOnDisk = File::CreatedOnDisk;
inline constexpr quint8 kPreallocated = File::Preallocated;

/// A file of one section that holds the given number of bytes; without section for -1.
inline File fileOf(qint64 size, qint64 downloaded = -1, quint8 fileFlags = 0, bool selected = true)
{
    File file;
    file.size = size;
    file.fileFlags = fileFlags;
    file.selected = selected;
    if (downloaded != -1)
        file.sections = {{0, size, downloaded}};
    return file;
}

inline File fileInSections(qint64 size, const QList<AbstractDownloadSection> &sections, quint8 fileFlags = 0)
{
    File file = fileOf(size, -1, fileFlags);
    file.sections = sections;
    return file;
}

inline File namedFile(const QString &name, const QString &pathOnDisk = {}, quint8 fileFlags = 0)
{
    File file;
    file.name = name;
    file.pathOnDisk = pathOnDisk;
    file.fileFlags = fileFlags;
    return file;
}

inline Info recordOf(const QList<File> &files, quint64 flags = 0, quint64 childDownloads = 0)
{
    Info info;
    info.files = files;
    info.flags = flags;
    info.childDownloads = childDownloads;
    return info;
}

}
