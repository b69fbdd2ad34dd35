// SPDX-License-Identifier: MIT
#include <inet/qt/download/downloadswww/wwwdownload.h>

#include <inet/qt/download/framework/abstractnetworkconsumersstats.h>
#include <inet/qt/download/framework/qtqobjectstracker.h>

#include <algorithm>

using namespace Qt::StringLiterals;
using namespace SectionScheduling;

namespace
{

// Reports are grouped by these places, so they stay what they were when the code around them moves.
constexpr char kSourceFile[] = "inet/qt/download/downloadswww/wwwdownload.cpp";
constexpr unsigned kUnsupportedAtResponseLine = 714;
constexpr unsigned kRemovedSectionLine = 813;

}

QList<WwwDownload::SectionPointer> WwwDownload::sections(bool includeCreating) const
{
    QList<SectionPointer> result;
    for (const auto &item : m_pack.items()) {
        if (includeCreating || item->id() != m_creatingSectionId)
            result.append(item.staticCast<WwwDownloadSection>());
    }
    return result;
}

QList<WwwDownload::SectionPointer> WwwDownload::sortedSections(bool includeCreating) const
{
    QList<SectionPointer> result = sections(includeCreating);
    std::sort(result.begin(), result.end(), [this](const SectionPointer &a, const SectionPointer &b) {
        const bool isCreatingA = a->id() == m_creatingSectionId;
        const bool isCreatingB = b->id() == m_creatingSectionId;
        return isCreatingA == isCreatingB ? a->section().offset < b->section().offset : isCreatingB;
    });
    return result;
}

WwwDownload::SectionPointer WwwDownload::section(qint64 id) const
{
    return m_pack.item(id).objectCast<WwwDownloadSection>();
}

WwwDownload::SectionPointer WwwDownload::creatingSection() const
{
    return m_creatingSectionId == 0 ? SectionPointer() : section(m_creatingSectionId);
}

int WwwDownload::runningSectionCount() const
{
    return int(m_pack.runningItemsIds().size());
}

WwwDownload::SectionPointer WwwDownload::findLazySection() const
{
    const QList<SectionPointer> candidates = sections(false);
    const auto it = std::find_if(candidates.cbegin(), candidates.cend(),
                                 [](const SectionPointer &item) { return !item->isRunning() && !item->isFinished(); });
    return it == candidates.cend() ? SectionPointer() : *it;
}

WwwDownload::SectionPointer WwwDownload::findBiggestBytesLeftSection() const
{
    SectionPointer biggest;
    for (const SectionPointer &item : sections(true)) {
        if (!biggest || item->section().bytesLeft() > biggest->section().bytesLeft())
            biggest = item;
    }
    return biggest;
}

WwwDownload::SectionPointer WwwDownload::createNewSection()
{
    AbstractDownloadSection range{0, -1, 0};
    const bool isFirst = m_pack.empty();
    if (!isFirst && !splitOffRange(&range))
        return {};
    const SectionPointer created = createSectionInstance(range, isFirst && m_mode == AbstractDownloadCommand::Restart);
    m_creatingSectionId = created->id();
    log(u"creating section: #%1(offset:%2, size:%3)"_s.arg(created->id()).arg(range.offset).arg(range.size));
    m_pack.addItem(created);
    return created;
}

bool WwwDownload::splitOffRange(AbstractDownloadSection *range) const
{
    if (m_creatingSectionId != 0)
        return false;
    const SectionPointer parent = findBiggestBytesLeftSection();
    if (!parent || !hasFile())
        return false;
    const SplitSituation situation{isAllocating(), m_allocatedSize};
    if (!splitSection(parent->section(), situation, range))
        return false;
    if (situation.isAllocating)
        log(u"currently allocated file size: %1"_s.arg(m_allocatedSize), kSectionLogLevel);
    return true;
}

bool WwwDownload::isAllocating() const
{
    return m_info->destinationType == AbstractDownloadPersistentInfo::ToFolder
        && (firstFile().fileFlags & AbstractDownloadFileInfo::Preallocated) == 0;
}

WwwDownload::SectionPointer WwwDownload::createSectionInstance(const AbstractDownloadSection &range, bool resourceCheck)
{
    const SectionPointer created(new WwwDownloadSection(++m_lastSectionId, logHeader(), range, m_info, m_chief,
                                                        resourceCheck, m_mirrors, nullptr),
                                 &QObject::deleteLater);
    QtQObjectsTracker::instance()->registerObject(created.get(), created->metaObject()->className());
    created->setNetworkSettings(myNetworkSettings());
    connectSection(created);
    if (m_writersThread)
        created->setWriterThread(m_writersThread);
    return created;
}

void WwwDownload::connectSection(const SectionPointer &section)
{
    const WwwDownloadSection *item = section.get();
    const qint64 id = item->id();
    connect(item, &WwwDownloadSection::gotOkResponse, this, [this, id] { onSectionGotOkResponse(id); });
    connect(item, &WwwDownloadSection::timedOut, this, [this, id] { onSectionTimedOut(id); });
    connect(item, &WwwDownloadSection::requestHeaders, this,
            [this, id](const QList<QString> &headers) { onSectionRequestHeaders(id, headers); });
    connect(item, &WwwDownloadSection::responseHeaders, this,
            [this, id](const QList<QString> &headers) { onSectionResponseHeaders(id, headers); });
    connect(item, &WwwDownloadSection::persistentInfoChanged, this, &WwwDownload::onPersistentInfoChanged);
    connect(item, &WwwDownloadSection::waitingFileCreate, this, &WwwDownload::onSectionWaitingFileCreate);
    connect(item, &WwwDownloadSection::preallocatingFile, this, &WwwDownload::onSectionFilePreallocating);
    connect(item, &WwwDownloadSection::filePreallocated, this, &WwwDownload::onSectionFilePreallocated);
    connect(this, &WwwDownload::fileCreated, item, &WwwDownloadSection::onFileCreated);
}

// False when there is no section to start.
bool WwwDownload::startExtraSection()
{
    // A receiver of a signal on the way here may have stopped the download.
    if (!isRunning() || isStopping())
        return true;
    SectionPointer next = findLazySection();
    if (!next)
        next = createNewSection();
    if (!next)
        return false;
    if (queryMode())
        next->query(m_mode == AbstractDownloadCommand::QueryInfoMinimal);
    else
        next->start();
    return true;
}

void WwwDownload::startExtraSectionIfPossible()
{
    if (!isRunning() || isStopping() || queryMode())
        return;
    setState(ExtraSectionWanted, false);
    const CreateVerdict verdict = mayCreateSection();
    if (verdict == CreateVerdict::Allowed) {
        if (!startExtraSection())
            noteBound(boundOfSplit());
        return;
    }
    noteBound(boundOf(verdict));
    if (verdict != CreateVerdict::LimitReached)
        return;
    const bool mayTestResume = m_resumeTestAllowed && m_pack.size() == 1
        && m_info->resumeSupport == AbstractDownloadPersistentInfo::ResumeUnknown;
    if (!mayTestResume) {
        setState(ExtraSectionWanted, true);
        return;
    }
    log(u"forcibly testing resume support"_s);
    m_resumeTestAllowed = false;
    setState(ResumeTestForced, true);
    startExtraSection();
}

void WwwDownload::noteConnections()
{
    // A section that only waits for its writer runs, but holds no connection any more.
    const int now = int(unitedEntry(connectionsMap()).count);
    if (now > m_details.mostConnections) {
        m_details.mostConnections = now;
        m_details.bound = ConnectionsBound::None;
    }
}

// What kept the number from growing when it was at its highest; what happens as sections come to their end says
// nothing.
void WwwDownload::noteBound(ConnectionsBound bound)
{
    if (bound != ConnectionsBound::None && unitedEntry(connectionsMap()).count >= m_details.mostConnections)
        m_details.bound = bound;
}

ConnectionsBound WwwDownload::boundOf(CreateVerdict verdict) const
{
    switch (verdict) {
    case CreateVerdict::ResumeNotSupported:
        return ConnectionsBound::RangesNotHonoured;
    case CreateVerdict::SizeUnknown:
        return ConnectionsBound::SizeUnknown;
    case CreateVerdict::CapReached:
        return ConnectionsBound::SectionsCap;
    case CreateVerdict::LimitReached:
        return connectionsVerdict().reason == ConnectionLimit::ConnectionsPerServer
            ? ConnectionsBound::ConnectionsPerServer
            : ConnectionsBound::Connections;
    case CreateVerdict::Allowed:
    case CreateVerdict::NoMoreSections:
    case CreateVerdict::AlreadyCreating:
    case CreateVerdict::NoFile:
        break;
    }
    return ConnectionsBound::None;
}

ConnectionsBound WwwDownload::boundOfSplit() const
{
    const SectionPointer biggest = findBiggestBytesLeftSection();
    const bool isBigEnough = biggest && biggest->section().bytesLeft() >= kMinimumLeftToSplit;
    return isBigEnough && hasFile() && isAllocating() ? ConnectionsBound::SpaceNotTaken
                                                      : ConnectionsBound::TooSmallToSplit;
}

QVariant WwwDownload::details() const
{
    DownloadDetails result = m_details;
    result.isChecking = bool(m_resourceChecker);
    for (const SectionPointer &item : sections(true)) {
        if (item->isRunning())
            result.fetching.append(item->section().position());
    }
    return QVariant::fromValue(result);
}

CreateVerdict WwwDownload::mayCreateSection() const
{
    CreateSituation situation;
    situation.isPackEmpty = m_pack.empty();
    situation.noMoreSections = hasState(NoMoreSections);
    situation.isCreating = m_creatingSectionId != 0;
    situation.hasFile = hasFile();
    if (m_info)
        situation.isResumeNotSupported = m_info->resumeSupport == AbstractDownloadPersistentInfo::ResumeNotSupported;
    if (hasFile())
        situation.fileSize = firstFile().size;
    situation.connections = connectionsVerdict();
    return judgeCreation(situation);
}

int WwwDownload::checkConnectionsLimit(bool *capHit) const
{
    const ConnectionVerdict verdict = connectionsVerdict();
    if (capHit)
        *capHit = verdict.isCapHit;
    return verdict.place;
}

ConnectionVerdict WwwDownload::connectionsVerdict() const
{
    const NetworkUsageSettings own = networkUsageSettings();
    const NetworkUsageSettings global = m_chief->usageSettings();
    const QtConnectionsMap application = m_chief->consumersStats()->connectionsMap();
    ConnectionNumbers numbers;
    numbers.runningSections = runningSectionCount();
    numbers.ownMaximum = own.maximumConnections;
    numbers.globalMaximum = global.maximumConnections;
    numbers.ownMaximumPerServer = own.maximumConnectionsPerServer;
    numbers.globalMaximumPerServer = global.maximumConnectionsPerServer;
    numbers.ownToNextServer = m_mirrors->nextMirrorConnectionCount();
    numbers.applicationToNextServer = application.value(hostAndPortFromUrl(m_mirrors->nextMirrorUrl())).count;
    numbers.applicationTotal = unitedEntry(application).count;
    return judgeConnections(numbers);
}

void WwwDownload::onSectionGotOkResponse(qint64 id)
{
    log(u"section #%1 got ok response"_s.arg(id));
    const SectionPointer item = section(id);
    if (item && id == m_creatingSectionId && !confirmCreatingSection(item))
        return;
    if (isUnsupported()) {
        stop({int(GenericErrorCode::NotSupported),
              ErrorCategory::kGeneric,
              errorSource(kSourceFile, kUnsupportedAtResponseLine),
              {}});
        return;
    }
    noteConnections();
    startExtraSectionIfPossible();
}

bool WwwDownload::confirmCreatingSection(const SectionPointer &section)
{
    if (hasState(ResumeTestForced)) {
        setState(ResumeTestForced, false);
        if (checkConnectionsLimit(nullptr) >= 1) {
            removeCreatingSection(false, u"too many connections"_s);
            return false;
        }
    }
    const AbstractDownloadSection range = section->section();
    bool hasParent = false;
    for (const SectionPointer &parent : sections(false)) {
        if (parent->section().end() != range.end())
            continue;
        hasParent = true;
        if (parent->section().bytesLeft() <= range.size) {
            setState(NoMoreSections, true);
            removeCreatingSection(false, u"pointless"_s);
            return false;
        }
    }
    if (!hasParent && m_pack.size() > 1) {
        setState(NoMoreSections, true);
        removeCreatingSection(false, u"no parent section found"_s);
        return false;
    }
    markSectionAsCreated(section);
    return true;
}

void WwwDownload::onSectionTimedOut(qint64 id)
{
    log(u"section #%1 timed out"_s.arg(id));
}

void WwwDownload::markSectionAsCreated(const SectionPointer &section)
{
    if (section->id() != m_creatingSectionId)
        return;
    m_creatingSectionId = 0;
    const QList<SectionPointer> sorted = sortedSections(true);
    const qsizetype index = sorted.indexOf(section);
    if (index > 0)
        sorted.at(index - 1)->truncateSection(section.get());
    serializeSections(true);
}

void WwwDownload::removeCreatingSection(bool takeError, const QString &reason)
{
    const SectionPointer item = creatingSection();
    const qint64 removedId = m_creatingSectionId;
    m_ignoredSectionId = removedId;
    log(u"removing creating section #%1. Reason:"_s.arg(m_creatingSectionId) + reason);
    if (item && takeError) {
        m_lastError = item->lastError();
        m_lastSslErrors = item->lastSslErrors();
        m_lastErrorTime = item->lastErrorTime();
    }
    if (item) {
        disconnect(item.get(), nullptr, this, nullptr);
        m_pack.removeItem(item->id());
    }
    // Who hears of the connection given up may have begun another run, with a section in creation of its own.
    if (m_ignoredSectionId == removedId)
        m_ignoredSectionId = 0;
    if (m_creatingSectionId == removedId)
        m_creatingSectionId = 0;
    if (item && item->isRunning())
        item->stop(operationAbortedError(errorSource(kSourceFile, kRemovedSectionLine).c_str()), false);
}

void WwwDownload::removeAllSections()
{
    for (const SectionPointer &item : sections(true))
        disconnect(item.get(), nullptr, this, nullptr);
    m_creatingSectionId = 0;
    m_pack.removeItems(m_pack.itemsIds());
}

void WwwDownload::compactFinishedSections()
{
    const QList<SectionPointer> sorted = sortedSections(true);
    if (sorted.size() < 2)
        return;
    const SectionPointer creating = creatingSection();
    const auto endsWithCreating = [&creating](const SectionPointer &item) {
        return creating && creating->section().end() == item->section().end();
    };
    bool isParentFinished = false;
    SectionPointer previous;
    for (const SectionPointer &item : sorted) {
        const bool isMerged = previous && previous->isFinished() && item->isFinished()
            && item->section().offset == previous->section().end();
        if (!isMerged) {
            previous = item;
            continue;
        }
        isParentFinished |= endsWithCreating(item) || endsWithCreating(previous);
        previous->onCompactSections(item->section().size);
        m_pack.removeItem(item->id());
    }
    if (isParentFinished)
        removeCreatingSection(false, u"parent section(s) are finished"_s);
}

void WwwDownload::onGlobalConnectionsChanged()
{
    if (isRunning() && hasState(ExtraSectionWanted) && hasFile() && firstFile().isOnDisk() && !firstFile().isComplete())
        startExtraSectionIfPossible();
}

void WwwDownload::onSectionFilePreallocating(qint64 size)
{
    if (size == m_allocatedSize)
        return;
    m_allocatedSize = size;
    if (!m_lastError)
        startExtraSectionIfPossible();
}

void WwwDownload::onSectionFilePreallocated()
{
    setState(FileAllocated, true);
    log(u"file is allocated"_s);
    m_allocatedSize = -1;
    startExtraSectionIfPossible();
}
