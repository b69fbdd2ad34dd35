// SPDX-License-Identifier: MIT
#include <inet/qt/download/records/abstractdownloadfileinfo.h>

#include <numeric>

qint64 AbstractDownloadFileInfo::bytesDownloaded() const
{
    return std::accumulate(sections.cbegin(), sections.cend(), qint64(0),
                           [](qint64 sum, const AbstractDownloadSection &s) { return sum + s.downloaded; });
}
