// SPDX-License-Identifier: MIT
#include <host/session/downloadrequest.h>

#include <QDateTime>

using namespace Qt::StringLiterals;

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
}
