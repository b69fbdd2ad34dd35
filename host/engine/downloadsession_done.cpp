// SPDX-License-Identifier: MIT
#include <host/engine/downloadsession.h>

#include <host/engine/downloadrequest.h>
#include <host/engine/downloadrun.h>
#include <host/parsing/urlcredentials.h>
#include <host/policy/diskcheck.h>

#include <QFileInfo>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

/// Of finished downloads of one request, so many are looked for on the disk.
constexpr int kCandidates = 5;

/// As the list has it.
DownloadRequest asListed(const DownloadRequest &request)
{
    DownloadRequest listed = request;
    listed.url = UrlCredentials::split(request.url).url;
    return listed;
}

bool isOnDisk(const AbstractDownloadPersistentInfo &record)
{
    const QFileInfo file(record.files.isEmpty() ? QString() : record.filePath(0));
    return !record.files.isEmpty() && DiskCheck::isWhole(record, file.isFile() ? file.size() : -1);
}

/// What a person put back is another file to the disk, but one of before.
bool isTheVeryFile(const AbstractDownloadPersistentInfo &record, const FileIdentity &known)
{
    const QString path = record.filePath(0);
    return !known.isOther(FileIdentity::of(path)) || QFileInfo(path).lastModified() <= record.finishedTime;
}

/// A checksum that is given now, or a list of them that is named now, and was not then.
bool isOtherChecksum(const DownloadOptions &asked, const DownloadOptions &had)
{
    if (asked.checksumAlgorithm.isEmpty())
        return asked.isToBeCompared() && asked.checksumSource != had.checksumSource;
    return asked.checksumAlgorithm != had.checksumAlgorithm || asked.checksumHex != had.checksumHex;
}

}

qint64 DownloadSession::findActive(const DownloadRequest &request) const
{
    const DownloadRequest listed = asListed(request);
    const auto found = std::find_if(m_running.cbegin(), m_running.cend(), [&listed](const DownloadRun *run) {
        return run->id() > 0 && listed.isSameDownload(run->lease().record);
    });
    return found == m_running.cend() ? 0 : found.key();
}

qint64 DownloadSession::findUnfinished(const DownloadRequest &request)
{
    const DownloadRequest listed = asListed(request);
    const QList<AbstractDownloadPersistentInfo> found =
        m_list.findUnfinished(listed.url, listed.folder, listed.outputName);
    const auto same =
        std::find_if(found.cbegin(), found.cend(),
                     [&listed](const AbstractDownloadPersistentInfo &record) { return listed.isSameDownload(record); });
    return same == found.cend() ? 0 : same->id;
}

std::optional<DownloadSession::Done> DownloadSession::findDone(const DownloadRequest &request)
{
    return findDone(m_list, request);
}

/// Perhaps in the list's thread.
std::optional<DownloadSession::Done> DownloadSession::findDone(DownloadStore &list, const DownloadRequest &asked) const
{
    const DownloadRequest request = asListed(asked);
    // What a body does there, it is to do again.
    if (!request.postData.isEmpty())
        return std::nullopt;
    const QList<AbstractDownloadPersistentInfo> found =
        list.findFinished(request.url, request.folder, request.outputName, kCandidates);
    const auto there = std::find_if(found.cbegin(), found.cend(), [&](const AbstractDownloadPersistentInfo &record) {
        return record.postData.isEmpty() && !m_running.contains(record.id) && isOnDisk(record)
            && (!request.isToAsk || isTheVeryFile(record, list.fileIdentity(record.id)))
            && list.memory(record.id).evidence.doubt != Evidence::Doubt::FinishedEarly;
    });
    if (there == found.cend() || !list.findUnfinished(request.url, request.folder, request.outputName).isEmpty())
        return std::nullopt;
    const ResourceMemory memory = list.memory(there->id);
    const DownloadOptions options = list.options(there->id);
    const bool isGiven = options.isToBeCompared();
    const ChecksumResult result = isGiven ? options.checksumResult : memory.evidence.digest;
    const bool isDue = (isGiven || memory.digest()) && result != ChecksumResult::Equal;
    return Done{there->id, there->filePath(0), isDue || isOtherChecksum(request.options, options)};
}
