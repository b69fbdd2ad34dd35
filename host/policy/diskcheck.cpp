// SPDX-License-Identifier: MIT
#include <host/policy/diskcheck.h>

#include <inet/qt/download/framework/abstractdownloadfileops.h>

#include <algorithm>
#include <limits>

namespace
{

using Info = AbstractDownloadPersistentInfo;
using File = AbstractDownloadFileInfo;
using Section = AbstractDownloadSection;

constexpr qint64 kUnknown = -1;
constexpr quint8 kKnownFlags = File::CreatedOnDisk | File::Preallocated | File::FinalOnDisk;

/// In sums of two of these nothing overflows.
constexpr qint64 kLongestFile = std::numeric_limits<qint64>::max() / 2;

bool isLength(qint64 value)
{
    return value >= 0 && value <= kLongestFile;
}

bool isPlausible(const Section &section)
{
    return isLength(section.offset) && isLength(section.downloaded)
        && (section.size == kUnknown || (isLength(section.size) && section.downloaded <= section.size));
}

/// A final name is given to whole files only, and an unfinished record that is whole has only the rest to be done.
bool areFlagsPlausible(const File &file)
{
    const bool isFinal = file.isOnDisk() && (file.fileFlags & File::FinalOnDisk) != 0;
    return (file.fileFlags & ~kKnownFlags) == 0 && (!isFinal || file.isComplete());
}

bool isPlausible(const File &file)
{
    return isLength(file.dataStart) && (file.size == kUnknown || isLength(file.size))
        && DiskCheck::areSectionsPlausible(file) && areFlagsPlausible(file);
}

/// True when a byte had to be given up.
bool cutBack(File &file, qint64 lengthOnDisk)
{
    bool cut = false;
    for (Section &section : file.sections) {
        const qint64 held = std::clamp(lengthOnDisk - file.dataStart - section.offset, qint64(0), section.downloaded);
        cut = cut || held < section.downloaded;
        section.downloaded = held;
    }
    return cut;
}

/// Whether the bytes from begin to end were all written.
bool hasBytes(const File &file, qint64 begin, qint64 end)
{
    for (const Section &section : file.sections) {
        if (section.offset <= begin)
            begin = std::max(begin, section.position());
    }
    return begin >= end;
}

}

qint64 DiskCheck::endOfDownloaded(const AbstractDownloadFileInfo &file)
{
    qint64 end = 0;
    for (const AbstractDownloadSection &section : file.sections) {
        if (section.downloaded > 0)
            end = std::max(end, file.dataStart + section.position());
    }
    return end;
}

bool DiskCheck::areSectionsPlausible(const AbstractDownloadFileInfo &file)
{
    if (file.sections.isEmpty())
        return true;
    qint64 end = 0;
    for (const Section &section : file.sections) {
        // Behind a section without an end there is nothing.
        if (end == kUnknown || section.offset != end || !isPlausible(section))
            return false;
        end = section.end();
    }
    if (file.size == kUnknown)
        return true;
    return end == kUnknown ? file.sections.last().position() <= file.size : end == file.size;
}

bool DiskCheck::isTrustworthy(const AbstractDownloadPersistentInfo &info, qint64 lengthOnDisk)
{
    AbstractDownloadPersistentInfo copy = info;
    return repair(copy, lengthOnDisk) == Repair::None;
}

DiskCheck::Repair DiskCheck::repair(AbstractDownloadPersistentInfo &info, qint64 lengthOnDisk)
{
    if (info.files.isEmpty() || info.destinationType != AbstractDownloadPersistentInfo::ToFolder)
        return Repair::None;
    AbstractDownloadFileInfo &file = info.files.first();
    const bool isThere = file.isOnDisk() ? lengthOnDisk >= 0 : file.bytesDownloaded() == 0;
    if (!isThere || !isPlausible(file)) {
        forgetProgress(info);
        return Repair::Forgotten;
    }
    if (!file.isOnDisk())
        return Repair::None;
    // More than the file's length is no harm: it is cut off at the end.
    if (file.size != kUnknown && lengthOnDisk < file.dataStart + file.size)
        file.fileFlags &= quint8(~AbstractDownloadFileInfo::Preallocated);
    if (!cutBack(file, lengthOnDisk))
        return Repair::None;
    file.fileFlags &= quint8(~AbstractDownloadFileInfo::FinalOnDisk);
    info.setFinished(false, true);
    return Repair::CutBack;
}

bool DiskCheck::keepsAllBytes(const AbstractDownloadFileInfo &newer, const AbstractDownloadFileInfo &older)
{
    if (newer.dataStart != older.dataStart)
        return false;
    return std::all_of(older.sections.cbegin(), older.sections.cend(), [&](const Section &section) {
        return section.downloaded <= 0 || hasBytes(newer, section.offset, section.position());
    });
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

bool DiskCheck::isDiscarded(const AbstractDownloadPersistentInfo &info)
{
    if (info.isFinished() || info.files.isEmpty() || info.bytesDownloaded(false) > 0)
        return false;
    const AbstractDownloadFileInfo &file = info.files.first();
    const bool isFinal = (file.fileFlags & AbstractDownloadFileInfo::FinalOnDisk) != 0;
    return file.isOnDisk() && !isFinal && !file.relativePath().endsWith(AbstractDownloadFileOps::kPartSuffix);
}

void DiskCheck::forgetSectionsWithoutBytes(AbstractDownloadPersistentInfo &info)
{
    if (info.isFinished() || info.bytesDownloaded(false) > 0)
        return;
    for (File &file : info.files)
        file.sections.clear();
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
