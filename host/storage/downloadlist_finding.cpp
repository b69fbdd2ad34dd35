// SPDX-License-Identifier: MIT
#include <host/storage/downloadlist.h>

#include <host/storage/sqlcells.h>

#include <algorithm>

using namespace Qt::StringLiterals;

QList<DownloadList::Record> DownloadList::findUnfinished(const QUrl &url, const QString &folder,
                                                         const QString &outputName)
{
    // Left to itself the database would look through everything that is unfinished.
    const QString index = u"downloads_unfinished_by_url"_s;
    const QString sameRequest = u"finished = 0 AND url = ? AND folder = ? AND "_s;
    SqlValues values{SqlCells::fromUrl(url), folder, SqlCells::fromFlags(Record::RenameBlocked)};
    QList<Record> records;
    if (outputName.isEmpty()) {
        records = select(sameRequest + u"flags & ? = 0"_s, values, index);
    } else {
        values.append(outputName);
        records = select(sameRequest
                             + u"flags & ? <> 0 AND EXISTS (SELECT 1 FROM files WHERE download_id = downloads.id "
                               u"AND position = 0 AND name = ?)"_s,
                         values, index);
    }
    std::reverse(records.begin(), records.end());
    return records;
}

QList<DownloadList::Record> DownloadList::findFinished(const QUrl &url, const QString &folder,
                                                       const QString &outputName, int limit)
{
    const QString isNamed = u"EXISTS (SELECT 1 FROM files WHERE download_id = downloads.id AND position = 0 AND ? IN "
                            u"(name, path_on_disk))"_s;
    SqlValues values{SqlCells::fromUrl(url), folder};
    if (outputName.isEmpty())
        values.append(SqlCells::fromFlags(Record::RenameBlocked));
    else
        values.append(outputName);
    values.append(limit);
    // Left to itself the database would look through everything that is finished.
    QList<Record> records =
        select(u"id IN (SELECT id FROM downloads INDEXED BY downloads_by_url WHERE url = ? AND folder = ? AND finished "
               u"= 1 AND %1 "
               u"ORDER BY id DESC LIMIT ?)"_s.arg(outputName.isEmpty() ? u"flags & ? = 0"_s : isNamed),
               values);
    std::reverse(records.begin(), records.end());
    return records;
}

bool DownloadList::isBegun(const QString &folder, const QString &pathOnDisk, qint64 butId)
{
    return !select(u"finished = 0 AND folder = ? AND id <> ? AND EXISTS (SELECT 1 FROM files WHERE download_id = "
                   u"downloads.id AND position = 0 AND path_on_disk = ?)"_s,
                   {folder, butId, pathOnDisk})
                .isEmpty();
}

QList<DownloadList::Record> DownloadList::findByUrl(const QUrl &url, int limit)
{
    QList<Record> records = select(u"id IN (SELECT id FROM downloads WHERE url = ? ORDER BY id DESC LIMIT ?)"_s,
                                   {SqlCells::fromUrl(url), limit});
    std::reverse(records.begin(), records.end());
    return records;
}
