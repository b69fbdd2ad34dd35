// SPDX-License-Identifier: MIT
#include <inet/qt/download/downloadswww/recordkeeper.h>

#include <inet/qt/download/downloadswww/wwwdownloadsection.h>
#include <inet/qt/download/sources/downloadguidfromdownloadsource.h>

#include <QCoreApplication>

using Record = AbstractDownloadPersistentInfo;

namespace
{

constexpr qint64 kSourceFields = Record::FieldSourceUrls | Record::FieldSourceRequest;

bool isOtherSource(const Record &a, const Record &b)
{
    return !RecordKeeper::isSameRequest(a, b) || a.referer != b.referer || a.webPageUrl != b.webPageUrl;
}

}

bool RecordKeeper::isSameRequest(const Record &a, const Record &b)
{
    return a.url == b.url && a.cookies == b.cookies && a.postData == b.postData;
}

QString RecordKeeper::updateUrlOption()
{
    return QCoreApplication::translate("QObject", "Update URL");
}

bool RecordKeeper::isUpdateUrl(const AbstractDownloadMergeOptions &options)
{
    return options.options.size() == 1 && options.options.first() == updateUrlOption();
}

bool RecordKeeper::isSameContent(const Record &other) const
{
    if (!m_record)
        return false;
    bool same = false;
    bool differs = false;
    WwwDownloadSection::compareDownloadsByHttpEtag(m_record->guid, other.guid, same, differs);
    if (same || differs)
        return same;

    AbstractDownloadGuid mine;
    AbstractDownloadGuid others;
    bool isMineReliable = false;
    bool isOthersReliable = false;
    DownloadGuidFromDownloadSource derive;
    if (derive.get(m_record->sourceInfo(), mine, isMineReliable)
        && derive.get(other.sourceInfo(), others, isOthersReliable) && !mine.value.isEmpty() && mine.kind == others.kind
        && mine.value == others.value) {
        if (isMineReliable && isOthersReliable)
            return true;
        if (!other.isFinished() && other.lastError)
            return true;
    }

    if (other.isFinished() || !hasFile() || other.files.isEmpty())
        return false;
    const AbstractDownloadFileInfo &file = firstFile();
    const AbstractDownloadFileInfo &otherFile = other.files.first();
    return file.size >= 1 && file.size == otherFile.size && file.name == otherFile.name;
}

void RecordKeeper::begin(const Record &record)
{
    m_record = QSharedPointer<Record>::create(record);
    if (hasFile() && firstFile().size != -1 && firstFile().sections.isEmpty())
        firstFile().sections.append({0, firstFile().size, 0});
}

bool RecordKeeper::replace(const Record &record)
{
    const ContentFate fate = checkNewInfoForSpecialCase(record, true);
    *m_record = record;
    settle(fate);
    reopenForPendingContent();
    return fate == ContentFate::FetchedAgain;
}

bool RecordKeeper::update(const Record &record, qint64 fields, BitFlagsUpdateMode mode, bool *isFetchedAgain)
{
    ContentFate fate = ContentFate::Untouched;
    if (fields & Record::FieldDestination)
        fate = checkNewInfoForSpecialCase(record, (fields & kSourceFields) != 0);
    *isFetchedAgain = fate == ContentFate::FetchedAgain;
    if (!m_record->updateWith(record, fields, mode))
        return false;
    settle(fate);
    return true;
}

void RecordKeeper::adjustInfo(QLatin1String moduleId)
{
    m_record->moduleId = moduleId;
    m_record->flags |= Record::ModuleFlags;
}

RecordKeeper::ContentFate RecordKeeper::checkNewInfoForSpecialCase(const Record &record, bool compareSource)
{
    if (compareSource && isOtherSource(record, *m_record))
        return fateUnderOtherSource(record);
    const bool leavesMemory =
        m_record->destinationType == Record::ToMemory && record.destinationType != Record::ToMemory;
    if (!leavesMemory || m_record->content.isEmpty())
        return ContentFate::Untouched;

    ContentFate fate = ContentFate::Pending;
    if (m_record->isFinished()) {
        m_pendingContent = m_record->content;
        m_record->setFinished(false, true);
    } else {
        fate = ContentFate::FetchedAgain;
        forgetRanges();
    }
    m_record->content.clear();
    return fate;
}

RecordKeeper::ContentFate RecordKeeper::fateUnderOtherSource(const Record &record)
{
    const bool isLost = !m_pendingContent.isEmpty() && record.destinationType != Record::ToMemory;
    m_pendingContent.clear();
    if (!isLost)
        return ContentFate::Untouched;
    forgetRanges();
    return ContentFate::FetchedAgain;
}

// Their bytes are gone, and nobody else has them.
void RecordKeeper::forgetRanges()
{
    if (hasFile())
        firstFile().sections.clear();
}

// A given record still shows the bytes that have just been taken out of the old one.
void RecordKeeper::settle(ContentFate fate)
{
    if (fate == ContentFate::Untouched)
        return;
    m_record->content.clear();
    if (fate == ContentFate::FetchedAgain)
        forgetRanges();
}

void RecordKeeper::reopenForPendingContent()
{
    if (!m_pendingContent.isEmpty())
        m_record->setFinished(false, true);
}

RecordKeeper::Ranges RecordKeeper::ranges() const
{
    return hasFile() ? firstFile().sections : Ranges();
}

void RecordKeeper::keep(const Ranges &ranges)
{
    if (hasFile() && !ranges.isEmpty())
        firstFile().sections = ranges;
}

bool RecordKeeper::isBehind(qint64 bytesDownloaded) const
{
    return hasFile() && firstFile().bytesDownloaded() != bytesDownloaded;
}

void RecordKeeper::settleForWhatIsThere()
{
    const qint64 size = firstFile().bytesDownloaded();
    firstFile().sections = {AbstractDownloadSection{0, size, size}};
    firstFile().size = size;
}

bool RecordKeeper::takeError(const AbstractError &error, const QDateTime &time)
{
    if (!error || error.isSameFailure(m_record->lastError))
        return false;
    m_record->lastError = error;
    m_record->lastErrorTime = time;
    return true;
}
