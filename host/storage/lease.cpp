// SPDX-License-Identifier: MIT
#include <host/storage/lease.h>

#include <host/storage/rowkeys.h>

#include <algorithm>
#include <numeric>

namespace
{

using File = AbstractDownloadFileInfo;

qint64 doneOf(const QList<File> &files)
{
    return std::accumulate(files.cbegin(), files.cend(), qint64(0),
                           [](qint64 sum, const File &file) { return sum + file.bytesDownloaded(); });
}

/// With which the finished file is to be compared; one that was finished early is another file to it.
bool hasServersDigest(const Lease &lease)
{
    if (!lease.record.isFinished() || lease.memory.evidence.doubt == Evidence::Doubt::FinishedEarly)
        return false;
    const QList<KnownAddress> &addresses = lease.memory.addresses;
    return std::any_of(addresses.cbegin(), addresses.cend(),
                       [](const KnownAddress &address) { return !address.identity.digest.isEmpty(); });
}

}

ListEntry Lease::entry() const
{
    ListEntry entry;
    entry.id = record.id;
    entry.placeKey = record.sortIndex;
    entry.name = RowKeys::nameOf(record);
    entry.url = record.url;
    entry.folder = record.folder;
    entry.size = RowKeys::sizeOf(record);
    entry.done = doneOf(record.files);
    entry.finished = record.isFinished();
    entry.evidence = memory.evidence;
    entry.evidence.address.clear();
    entry.evidence.etag.clear();
    entry.hasChecksum = options.isToBeCompared();
    entry.checksumResult = entry.hasChecksum ? options.checksumResult : entry.evidence.digest;
    entry.hasChecksum =
        entry.hasChecksum || hasServersDigest(*this) || entry.checksumResult != ChecksumResult::NotCompared;
    entry.error = record.lastError;
    entry.creationTime = record.creationTime;
    entry.finishedTime = record.finishedTime;
    entry.errorTime = record.lastErrorTime;
    return entry;
}
