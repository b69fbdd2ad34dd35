// SPDX-License-Identifier: MIT
#include <host/storage/rowkeys.h>

#include <host/policy/naturalorder.h>

#include <algorithm>
#include <limits>

/// Where another file was in the way, it is not called what it would be.
QString RowKeys::nameOf(const Record &record)
{
    if (record.files.isEmpty())
        return {};
    return record.isFinished() ? record.files.first().relativePath() : record.files.first().name;
}

qint64 RowKeys::sizeOf(const Record &record)
{
    qint64 size = record.files.isEmpty() ? -1 : 0;
    for (const AbstractDownloadFileInfo &file : record.files) {
        const qint64 room = std::numeric_limits<qint64>::max() - std::max<qint64>(file.size, 0);
        size = file.size < 0 || size < 0 ? -1 : std::min(size, room) + file.size;
    }
    return size;
}

QString RowKeys::nameKey(const QString &name, const QUrl &url)
{
    return NaturalOrder::key(name.isEmpty() ? url.toString(QUrl::FullyEncoded) : name);
}
