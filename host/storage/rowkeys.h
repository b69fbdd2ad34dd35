// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/records/abstractdownloadpersistentinfo.h>

#include <QString>

/// What a line shows of a download's files, and by what rows are sorted.
namespace RowKeys
{

using Record = AbstractDownloadPersistentInfo;

/// Of the first file: on the disk, or as it will be called there. Empty = not known yet.
QString nameOf(const Record &record);
/// Of all files together. -1 = not known of all of them.
qint64 sizeOf(const Record &record);

/// Where a row stands among those sorted by name, see NaturalOrder::key(). @param name empty = by its address
QString nameKey(const QString &name, const QUrl &url);

}
