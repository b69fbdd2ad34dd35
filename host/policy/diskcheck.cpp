// SPDX-License-Identifier: MIT
#include <host/policy/diskcheck.h>

#include <algorithm>

qint64 DiskCheck::endOfDownloaded(const AbstractDownloadFileInfo &file)
{
    qint64 end = 0;
    for (const AbstractDownloadSection &section : file.sections) {
        if (section.downloaded > 0)
            end = std::max(end, file.dataStart + section.position());
    }
    return end;
}

bool DiskCheck::isTrustworthy(const AbstractDownloadPersistentInfo &info, qint64 lengthOnDisk)
{
    if (info.files.isEmpty() || info.destinationType != AbstractDownloadPersistentInfo::ToFolder)
        return true;
    const AbstractDownloadFileInfo &file = info.files.first();
    const qint64 end = endOfDownloaded(file);
    if (!file.isOnDisk())
        return end == 0;
    return lengthOnDisk >= end;
}

bool DiskCheck::isWhole(const AbstractDownloadPersistentInfo &info, qint64 lengthOnDisk)
{
    if (info.destinationType != AbstractDownloadPersistentInfo::ToFolder)
        return true;
    if (info.files.isEmpty())
        return false;
    const AbstractDownloadFileInfo &file = info.files.first();
    const bool hasFinalName = (file.fileFlags & AbstractDownloadFileInfo::FinalOnDisk) != 0;
    return hasFinalName && file.isComplete() && lengthOnDisk == file.dataStart + file.size;
}

void DiskCheck::forgetProgress(AbstractDownloadPersistentInfo &info)
{
    QList<AbstractDownloadFileInfo> files;
    if (info.hasFlag(AbstractDownloadPersistentInfo::RenameBlocked) && !info.files.isEmpty()) {
        AbstractDownloadFileInfo named;
        named.name = info.files.first().name;
        files.append(named);
    }
    info.files = files;
    info.guid = {};
    info.finalUrl.clear();
    info.resumeSupport = AbstractDownloadPersistentInfo::ResumeUnknown;
    info.setFlag(AbstractDownloadPersistentInfo::ResourceChanged, false);
    info.setFinished(false, true);
}
