// SPDX-License-Identifier: MIT
#include <inet/qt/download/records/abstractdownloadpersistentinfo.h>

#include <QDir>

#include <algorithm>
#include <utility>

namespace
{

constexpr qint64 kUnknown = -1;

/// A sum that, once unknown, stays so.
void addOrSpoil(qint64 &sum, qint64 size)
{
    if (sum == kUnknown)
        return;
    sum = size == kUnknown ? kUnknown : sum + size;
}

/// Copies a field and tells whether it differed.
template<typename T>
bool take(T &mine, const T &others)
{
    if (mine == others)
        return false;
    mine = others;
    return true;
}

/// Copies several fields, given in pairs, and tells whether one of them differed.
template<typename T, typename... Rest>
bool take(T &mine, const T &others, Rest &&...rest)
{
    const bool changed = take(mine, others);
    return take(std::forward<Rest>(rest)...) || changed;
}

}

AbstractDownloadSourceInfo AbstractDownloadPersistentInfo::sourceInfo() const
{
    AbstractDownloadSourceInfo source;
    source.url = downloadUrl();
    source.referer = referer;
    source.cookies = cookies;
    source.postData = postData;
    source.webPageUrl = webPageUrl;
    source.parameters = parameters;
    source.flags = sourceFlags;
    return source;
}

void AbstractDownloadPersistentInfo::copySourceFrom(const AbstractDownloadPersistentInfo &other)
{
    updateWith(other, FieldSourceUrls | FieldSourceRequest, BitFlagsUpdateMode::Replace);
    finalUrl = other.finalUrl;
}

QString AbstractDownloadPersistentInfo::downloadTitle() const
{
    if (!customTitle.isEmpty())
        return customTitle;
    if (!files.isEmpty())
        return files.first().name;
    return title.isEmpty() ? url.toString() : title;
}

bool AbstractDownloadPersistentInfo::isDummyFile(int index) const
{
    if (!hasFlag(DummyFilesMode))
        return false;
    const AbstractDownloadFileInfo &file = files.at(index);
    return !file.isOnDisk() || !file.isComplete();
}

bool AbstractDownloadPersistentInfo::hasNonDummyFiles() const
{
    for (int i = 0; i < files.size(); ++i) {
        if (!isDummyFile(i))
            return true;
    }
    return false;
}

qint64 AbstractDownloadPersistentInfo::filesSize(bool selectedOnly, bool excludeDummy, bool dummyIfAllDummy) const
{
    if (files.isEmpty())
        return hasFlag(DummyFilesMode) ? 0 : kUnknown;

    qint64 selected = 0;
    qint64 notSelected = 0;
    qint64 dummies = 0;
    bool allDummy = true;
    for (int i = 0; i < files.size(); ++i) {
        const AbstractDownloadFileInfo &file = files.at(i);
        if (!file.selected) {
            allDummy = false;
            addOrSpoil(notSelected, file.size);
        } else if (isDummyFile(i)) {
            addOrSpoil(dummies, file.size);
        } else {
            if (file.size == kUnknown)
                return kUnknown;
            allDummy = false;
            selected += file.size;
        }
    }

    if (!selectedOnly) {
        if (notSelected == kUnknown)
            return kUnknown;
        selected += notSelected;
    }
    if (excludeDummy) {
        const bool useDummies = allDummy && childDownloads == 0;
        return dummyIfAllDummy && useDummies ? dummies : selected;
    }
    return dummies == kUnknown ? kUnknown : dummies + selected;
}

qint64 AbstractDownloadPersistentInfo::bytesDownloaded(bool selectedOnly) const
{
    const bool wholeFilesOnly = hasFlag(DummyFilesMode);
    qint64 sum = 0;
    for (const AbstractDownloadFileInfo &file : files) {
        if (selectedOnly && !file.selected)
            continue;
        if (wholeFilesOnly && (!file.isOnDisk() || file.sections.isEmpty() || !file.isComplete()))
            continue;
        sum += file.bytesDownloaded();
    }
    return sum;
}

void AbstractDownloadPersistentInfo::setFinished(bool finished, bool setTime)
{
    setFlag(Finished, finished);
    if (setTime)
        finishedTime = finished ? QDateTime::currentDateTime() : QDateTime();
}

bool AbstractDownloadPersistentInfo::areFilesFinished(bool selectedOnly) const
{
    return !files.isEmpty()
        && std::all_of(files.cbegin(), files.cend(), [selectedOnly](const AbstractDownloadFileInfo &file) {
               return (selectedOnly && !file.selected) || file.isComplete();
           });
}

bool AbstractDownloadPersistentInfo::areFilesPathsOnDiskChanged(const AbstractDownloadPersistentInfo &other) const
{
    if (destinationType != ToFolder || other.destinationType != ToFolder)
        return false;
    return folder != other.folder
        || !std::equal(files.cbegin(), files.cend(), other.files.cbegin(), other.files.cend(),
                       [](const AbstractDownloadFileInfo &a, const AbstractDownloadFileInfo &b) {
                           return a.isOnDisk() == b.isOnDisk() && a.relativePath() == b.relativePath();
                       });
}

double AbstractDownloadPersistentInfo::uRatio() const
{
    const qint64 size = filesSize(true, true, true);
    return uploaded == 0 || size == 0 ? 0.0 : double(uploaded) / double(size);
}

int AbstractDownloadPersistentInfo::largestFileIndex() const
{
    int largest = -1;
    qint64 largestSize = kUnknown;
    for (int i = 0; i < files.size(); ++i) {
        if (files.at(i).selected && files.at(i).size > largestSize) {
            largest = i;
            largestSize = files.at(i).size;
        }
    }
    return largest;
}

qint64 AbstractDownloadPersistentInfo::diskSpaceNotUsedYet() const
{
    if (isFinished())
        return 0;
    qint64 sum = 0;
    for (const AbstractDownloadFileInfo &file : files) {
        if (!file.selected || (file.fileFlags & AbstractDownloadFileInfo::Preallocated) != 0 || file.size == kUnknown)
            continue;
        sum += file.sections.isEmpty() ? file.size : file.sections.last().size - file.sections.last().downloaded;
    }
    return sum;
}

quint64 AbstractDownloadPersistentInfo::allFilesTypes(bool selectedOnly, bool completeOnly) const
{
    quint64 types = 0;
    for (const AbstractDownloadFileInfo &file : files) {
        if ((!selectedOnly || file.selected) && (!completeOnly || file.isComplete()))
            types |= Q_UINT64_C(1) << (quint32(file.type) % 64);
    }
    return types;
}

bool AbstractDownloadPersistentInfo::hasFilesOnDisk() const
{
    return std::any_of(files.cbegin(), files.cend(),
                       [](const AbstractDownloadFileInfo &file) { return file.selected && file.isOnDisk(); });
}

int AbstractDownloadPersistentInfo::nonSkippedFilesCount() const
{
    return int(std::count_if(files.cbegin(), files.cend(),
                             [](const AbstractDownloadFileInfo &file) { return file.selected; }));
}

int AbstractDownloadPersistentInfo::firstNonSkippedFileIndex() const
{
    const auto it =
        std::find_if(files.cbegin(), files.cend(), [](const AbstractDownloadFileInfo &file) { return file.selected; });
    return it == files.cend() ? -1 : int(std::distance(files.cbegin(), it));
}

bool AbstractDownloadPersistentInfo::isLastErrorSignificant() const
{
    if (lastError.code == int(GenericErrorCode::OperationAborted))
        return lastError.category != ErrorCategory::kGeneric;
    return lastError.code != 0;
}

void AbstractDownloadPersistentInfo::setLastError(const AbstractError &error)
{
    lastError = error;
    lastErrorTime = QDateTime::currentDateTime();
}

qint64 AbstractDownloadPersistentInfo::changedFields(const AbstractDownloadPersistentInfo &other) const
{
    qint64 fields = 0;
    if (folder != other.folder)
        fields |= FolderChanged;
    if (downloadTitle() != other.downloadTitle())
        fields |= TitleChanged;
    return fields;
}

QString AbstractDownloadPersistentInfo::filePath(int index, bool nameOnly) const
{
    const AbstractDownloadFileInfo &file = files.at(index);
    return nameOnly ? file.name : QDir(folder).filePath(file.relativePath());
}

bool AbstractDownloadPersistentInfo::updateWith(const AbstractDownloadPersistentInfo &other, qint64 fields,
                                                BitFlagsUpdateMode mode)
{
    if (fields == AllFields) {
        *this = other;
        return true;
    }

    bool changed = false;
    if (fields & FieldDestination)
        changed |= take(destinationType, other.destinationType, folder, other.folder);
    if (fields & FieldTitle)
        changed |= take(title, other.title, customTitle, other.customTitle);
    if (fields & FieldFlags)
        changed |= updateFlags(other.flags, mode);
    if (fields & FieldFiles)
        changed |= updateFiles(other.files, fields);
    if (fields & FieldTimes)
        changed |= take(creationTime, other.creationTime, finishedTime, other.finishedTime);
    if ((fields & FieldLastError) && !lastError.isSameFailure(other.lastError)) {
        setLastError(other.lastError);
        changed = true;
    }
    if (fields & FieldSourceUrls)
        changed |= take(url, other.url, effectiveUrl, other.effectiveUrl, webPageUrl, other.webPageUrl);
    if (fields & FieldNaming)
        changed |= take(presetFileName, other.presetFileName, existingFileReaction, other.existingFileReaction);
    if (fields & FieldUserAgent)
        changed |= take(userAgent, other.userAgent);
    if (fields & FieldSourceRequest)
        changed |= take(referer, other.referer, cookies, other.cookies, postData, other.postData, parameters,
                        other.parameters, sourceFlags, other.sourceFlags);
    if (fields & FieldOrdering)
        changed |= take(sortIndex, other.sortIndex, priority, other.priority, createdBy, other.createdBy);
    if (fields & FieldMirrors)
        changed |= take(mirrors, other.mirrors);
    if (fields & FieldResource)
        changed |= take(guid, other.guid, resumeSupport, other.resumeSupport, finalUrl, other.finalUrl);
    if (fields & FieldCounters)
        changed |= take(childDownloads, other.childDownloads, uploaded, other.uploaded);
    if (fields & FieldContent)
        changed |= take(content, other.content, moduleId, other.moduleId);
    return changed;
}

bool AbstractDownloadPersistentInfo::updateFlags(quint64 otherFlags, BitFlagsUpdateMode mode)
{
    if (flags == otherFlags)
        return false;
    switch (mode) {
    case BitFlagsUpdateMode::Replace:
        flags = otherFlags;
        break;
    case BitFlagsUpdateMode::Clear:
        flags &= ~otherFlags;
        break;
    case BitFlagsUpdateMode::Add:
        flags |= otherFlags;
        break;
    }
    return true;
}

bool AbstractDownloadPersistentInfo::updateFiles(QList<AbstractDownloadFileInfo> otherFiles, qint64 fields)
{
    for (qsizetype i = 0; i < std::min(files.size(), otherFiles.size()); ++i) {
        if (fields & FieldFilesKeepSections)
            otherFiles[i].sections = files.at(i).sections;
        if (fields & FieldFilesKeepDisk) {
            otherFiles[i].pathOnDisk = files.at(i).pathOnDisk;
            otherFiles[i].fileFlags = files.at(i).fileFlags;
            otherFiles[i].dataStart = files.at(i).dataStart;
        }
    }
    return take(files, otherFiles);
}
