// SPDX-License-Identifier: MIT
#include <inet/qt/download/downloadswww/wwwdownload.h>

#include <inet/qt/download/framework/abstractnetworkconsumersstats.h>
#include <inet/qt/download/framework/qtqobjectstracker.h>
#include <inet/qt/download/framework/runguard.h>

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
        if (includeCreating || item->id() != m_plan.creatingId())
            result.append(item.staticCast<WwwDownloadSection>());
    }
    return result;
}

QList<WwwDownload::SectionPointer> WwwDownload::sortedSections(bool includeCreating) const
{
    QList<SectionPointer> result;
    for (const SectionPlan::Section &item : m_plan.sorted(plannedSections())) {
        if (includeCreating || item.id != m_plan.creatingId())
            result.append(section(item.id));
    }
    return result;
}

SectionPlan::Sections WwwDownload::plannedSections() const
{
    SectionPlan::Sections result;
    for (const SectionPointer &item : sections(true))
        result.append({item->id(), item->section(), item->isRunning(), item->isFinished()});
    return result;
}

WwwDownload::SectionPointer WwwDownload::section(qint64 id) const
{
    return m_pack.item(id).objectCast<WwwDownloadSection>();
}

WwwDownload::SectionPointer WwwDownload::creatingSection() const
{
    return m_plan.creatingId() == 0 ? SectionPointer() : section(m_plan.creatingId());
}

int WwwDownload::runningSectionCount() const
{
    return int(m_pack.runningItemsIds().size());
}

WwwDownload::SectionPointer WwwDownload::createNewSection()
{
    const SectionPlan::Cut cut = m_plan.cut(plannedSections(), planSituation());
    if (!cut.isPossible)
        return {};
    const bool isFirst = m_pack.empty();
    if (!isFirst && isAllocating())
        log(u"currently allocated file size: %1"_s.arg(m_plan.allocatedSize()), kSectionLogLevel);
    const SectionPointer created =
        createSectionInstance(cut.range, isFirst && m_mode == AbstractDownloadCommand::Restart);
    m_plan.startCreating(created->id());
    log(u"creating section: #%1(offset:%2, size:%3)"_s.arg(created->id()).arg(cut.range.offset).arg(cut.range.size));
    m_pack.addItem(created);
    return created;
}

bool WwwDownload::isAllocating() const
{
    return m_record->destinationType == AbstractDownloadPersistentInfo::ToFolder
        && (firstFile().fileFlags & AbstractDownloadFileInfo::Preallocated) == 0;
}

WwwDownload::SectionPointer WwwDownload::createSectionInstance(const AbstractDownloadSection &range, bool resourceCheck)
{
    const SectionPointer created(new WwwDownloadSection(m_plan.takeId(), logHeader(), range, m_record.shared(), m_chief,
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
    SectionPointer next = section(m_plan.findLazySection(plannedSections()).id);
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
    m_plan.setExtraWanted(false);
    const SectionPlan::Situation situation = planSituation();
    const CreateVerdict verdict = m_plan.mayCreate(plannedSections(), situation);
    if (verdict == CreateVerdict::Allowed) {
        if (!startExtraSection())
            noteBound(m_plan.cut(plannedSections(), situation).bound);
        return;
    }
    noteBound(SectionPlan::boundOf(verdict, situation));
    if (verdict != CreateVerdict::LimitReached || !m_plan.takeResumeTest(plannedSections(), situation))
        return;
    log(u"forcibly testing resume support"_s);
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

QVariant WwwDownload::details() const
{
    DownloadDetails result = m_details;
    result.isChecking = bool(m_resourceChecker);
    for (const SectionPointer &item : sections(true)) {
        if (item->isRunning())
            result.fetching.append(item->section().position());
    }
    for (const SectionPointer &item : sortedSections(false))
        result.written.append(item->section());
    return QVariant::fromValue(result);
}

CreateVerdict WwwDownload::mayCreateSection() const
{
    return m_plan.mayCreate(plannedSections(), planSituation());
}

SectionPlan::Situation WwwDownload::planSituation() const
{
    SectionPlan::Situation situation;
    situation.hasFile = hasFile();
    if (hasFile()) {
        situation.fileSize = firstFile().size;
        situation.isAllocating = isAllocating();
    }
    if (m_record) {
        situation.isResumeUnknown = m_record->resumeSupport == AbstractDownloadPersistentInfo::ResumeUnknown;
        situation.isResumeNotSupported = m_record->resumeSupport == AbstractDownloadPersistentInfo::ResumeNotSupported;
    }
    situation.connections = connectionsVerdict();
    return situation;
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
    const RunGuard guard(this, m_runsEnded);
    const SectionPointer item = section(id);
    if (item && id == m_plan.creatingId() && !confirmCreatingSection(item))
        return;
    if (isUnsupported()) {
        stop({int(GenericErrorCode::NotSupported),
              ErrorCategory::kGeneric,
              errorSource(kSourceFile, kUnsupportedAtResponseLine),
              {}});
        return;
    }
    if (!guard)
        return;
    noteConnections();
    startExtraSectionIfPossible();
}

bool WwwDownload::confirmCreatingSection(const SectionPointer &section)
{
    const SectionPlan::Confirmation confirmation = m_plan.confirm(plannedSections(), connectionsVerdict().place);
    if (confirmation != SectionPlan::Confirmation::Confirmed) {
        removeCreatingSection(false, SectionPlan::reasonAgainst(confirmation));
        return false;
    }
    markSectionAsCreated(section);
    return true;
}

void WwwDownload::markSectionAsCreated(const SectionPointer &section)
{
    const RunGuard guard(this, m_runsEnded);
    if (const SectionPointer parent = this->section(m_plan.settle(plannedSections())))
        parent->truncateSection(section.get());
    if (guard)
        serializeSections(true);
}

void WwwDownload::onSectionTimedOut(qint64 id)
{
    log(u"section #%1 timed out"_s.arg(id));
}

void WwwDownload::removeCreatingSection(bool takeError, const QString &reason)
{
    const SectionPointer item = creatingSection();
    const qint64 removedId = m_plan.beginRemoval();
    log(u"removing creating section #%1. Reason:"_s.arg(removedId) + reason);
    if (item && takeError) {
        m_lastError = item->lastError();
        m_lastSslErrors = item->lastSslErrors();
        m_lastErrorTime = item->lastErrorTime();
    }
    const RunGuard lives(this);
    if (item) {
        disconnect(item.get(), nullptr, this, nullptr);
        m_pack.removeItem(item->id());
    }
    if (lives)
        m_plan.endRemoval(removedId);
    if (item && item->isRunning())
        item->stop(operationAbortedError(errorSource(kSourceFile, kRemovedSectionLine).c_str()), false);
}

void WwwDownload::removeAllSections()
{
    for (const SectionPointer &item : sections(true))
        disconnect(item.get(), nullptr, this, nullptr);
    m_plan.clear();
    m_pack.removeItems(m_pack.itemsIds());
}

void WwwDownload::compactFinishedSections()
{
    const SectionPlan::Compaction compaction = m_plan.compact(plannedSections());
    for (const auto &[growing, merged] : compaction.merges) {
        section(growing)->onCompactSections(section(merged)->section().size);
        m_pack.removeItem(merged);
    }
    if (compaction.isParentFinished)
        removeCreatingSection(false, u"parent section(s) are finished"_s);
}

void WwwDownload::onGlobalConnectionsChanged()
{
    if (isRunning() && m_plan.isExtraWanted() && hasFile() && firstFile().isOnDisk() && !firstFile().isComplete())
        startExtraSectionIfPossible();
}

void WwwDownload::onSectionFilePreallocating(qint64 size)
{
    if (m_plan.setAllocatedSize(size) && !m_lastError)
        startExtraSectionIfPossible();
}

void WwwDownload::onSectionFilePreallocated()
{
    log(u"file is allocated"_s);
    m_plan.setAllocatedSize(-1);
    startExtraSectionIfPossible();
}
