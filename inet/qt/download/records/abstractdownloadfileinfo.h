// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/records/abstractdownloadsection.h>
#include <inet/qt/download/records/abstractfileinfo.h>
#include <inet/qt/download/records/exportmacro.h>

#include <QDateTime>
#include <QList>

/// One target file of a download.
struct DOWNLOADFRAMEWORK_EXPORT AbstractDownloadFileInfo : AbstractFileInfo {
    /// Bits of fileFlags.
    enum FileFlag : quint8 {
        CreatedOnDisk = 0x01, ///< the file exists on disk
        Preallocated = 0x02, ///< its disk space is taken to the full size
        FinalOnDisk = 0x04, ///< it has its exact length and its final name; nothing is left to be done for it
    };

    qint64 size = -1; ///< bytes; -1 = unknown
    qint32 selected = 1; ///< not 0: to be downloaded; a file that is not selected is skipped
    QList<AbstractDownloadSection> sections; ///< its ranges in file order
    QString pathOnDisk; ///< path relative to the download's folder; empty = name
    quint8 fileFlags = 0; ///< FileFlag bits
    QDateTime lastModified; ///< the resource's Last-Modified as last seen; null = never seen
    QString contentType; ///< the response's Content-Type as last seen
    qint64 dataStart = 0; ///< position in the file at which byte 0 of the resource lies

    /// Bytes written over all sections; 0 without sections.
    qint64 bytesDownloaded() const;
    /// Every byte of a file of known size is there.
    bool isComplete() const { return bytesDownloaded() == size; }
    bool isOnDisk() const { return (fileFlags & CreatedOnDisk) != 0; }
    /// pathOnDisk, or name where that is empty.
    QString relativePath() const { return pathOnDisk.isEmpty() ? name : pathOnDisk; }

    friend bool operator==(const AbstractDownloadFileInfo &, const AbstractDownloadFileInfo &) = default;
};
