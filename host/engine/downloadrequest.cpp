// SPDX-License-Identifier: MIT
#include <host/engine/downloadrequest.h>

#include <host/storage/replacedfile.h>

#include <QDateTime>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

/// Once each: of two entries with one address the module could not tell which is in use.
void addMirror(AbstractDownloadPersistentInfo &record, const QUrl &url)
{
    const bool isThere = url == record.url
        || std::any_of(record.mirrors.cbegin(), record.mirrors.cend(),
                       [&url](const AbstractDownloadMirrorInfo &mirror) { return mirror.url == url; });
    if (!isThere)
        record.mirrors.append({url, QUrl()});
}

}

AbstractDownloadPersistentInfo DownloadRequest::newRecord() const
{
    AbstractDownloadPersistentInfo record;
    record.url = url;
    record.postData = postData;
    record.destinationType = AbstractDownloadPersistentInfo::ToFolder;
    record.folder = folder;
    record.creationTime = QDateTime::currentDateTimeUtc();
    record.setFlag(AbstractDownloadPersistentInfo::FinalDownload, true);
    if (!outputName.isEmpty()) {
        AbstractDownloadFileInfo file;
        file.name = outputName;
        record.files.append(file);
        record.setFlag(AbstractDownloadPersistentInfo::RenameBlocked, true);
    }
    renew(record);
    return record;
}

bool DownloadRequest::isSameDownload(const AbstractDownloadPersistentInfo &record) const
{
    const bool isNamed = record.hasFlag(AbstractDownloadPersistentInfo::RenameBlocked) && !record.files.isEmpty();
    const QString recordName = isNamed ? record.files.first().name : QString();
    return record.url == url && record.folder == folder && recordName == outputName && record.postData == postData;
}

void DownloadRequest::renew(AbstractDownloadPersistentInfo &record) const
{
    if (!referer.isEmpty())
        record.referer = referer;
    if (!userAgent.isEmpty())
        record.userAgent = userAgent;
    if (!headers.isEmpty())
        record.parameters.insert(u"headers"_s, headers);
    for (const QUrl &mirror : mirrors)
        addMirror(record, mirror);
    if (onExists != AbstractDownloadExistingFileReaction::NotSet)
        ReplacedFile::setReaction(record, onExists);
}
