// SPDX-License-Identifier: MIT
#include <inet/qt/download/downloadswww/wwwdownload.h>

#include <inet/qt/download/framework/abstractnetworkconsumersstats.h>
#include <inet/qt/download/framework/assertion.h>
#include <inet/qt/download/framework/fileerror.h>
#include <inet/qt/download/framework/ownfiles.h>
#include <inet/qt/download/framework/qtqobjectstracker.h>
#include <inet/qt/download/framework/runguard.h>
#include <inet/qt/download/framework/threadaffinity.h>

#include <QFile>

#include <utility>

using namespace Qt::StringLiterals;

namespace
{

// Reports are grouped by these places, so they stay what they were when the code around them moves.
constexpr char kSourceFile[] = "inet/qt/download/downloadswww/wwwdownload.cpp";
constexpr unsigned kStopCommandLine = 316;
constexpr unsigned kFinishNowCommandLine = 327;
constexpr unsigned kUnsupportedAtStartLine = 427;
constexpr unsigned kEndedWithoutFileLine = 965;

AbstractError abortedAt(unsigned line)
{
    return operationAbortedError(errorSource(kSourceFile, line).c_str());
}

AbstractError genericErrorAt(GenericErrorCode code, unsigned line)
{
    return {int(code), ErrorCategory::kGeneric, errorSource(kSourceFile, line), {}};
}

AbstractError takenError(const QString &path)
{
    const QString text = u"cannot remove \"%1\": another process is at work on it by now."_s.arg(path);
    return {QFileDevice::RemoveError, ErrorCategory::kFile, FileError::wholeSource(errorSourceHere()),
            text.toStdString()};
}

}

WwwDownload::WwwDownload(qint64 id, QSharedPointer<AbstractNetworkAccessChief> chief,
                         QWeakPointer<QtAppSystemDefaultUserAgentManager> userAgentManager, QObject *parent)
    : AbstractDownload(id, parent)
    , m_chief(std::move(chief))
    , m_userAgentManager(std::move(userAgentManager))
    , m_pack(this)
    , m_mirrors(QSharedPointer<DownloadMirrorsUsageManager>::create())
{
    qRegisterMetaType<AbstractError>("AbstractError");
    QtQObjectsTracker::instance()->registerObject(this, metaObject()->className());

    connect(&m_pack, &AbstractNetworkConsumersWithExtraTasksPack::connectionsMapChangedDelta, this,
            &WwwDownload::connectionsMapChangedDelta);
    connect(&m_pack, &AbstractNetworkConsumersWithExtraTasksPack::itemRunning, this,
            &WwwDownload::onSectionItemRunning);
    connect(&m_pack, &AbstractNetworkConsumersWithExtraTasksPack::running, this, &WwwDownload::onSectionsRunning);
    WwwDownload::setNetworkSettings(m_chief->defaultConsumerSettings());
    connect(m_chief->consumersStats(), &AbstractNetworkConsumersStats::connectionsMapChangedDelta, this,
            &WwwDownload::onGlobalConnectionsChanged);
}

WwwDownload::~WwwDownload()
{
    disconnect(&m_pack, nullptr, this, nullptr);
}

bool WwwDownload::queryMode() const
{
    return m_mode < AbstractDownloadCommand::Start;
}

bool WwwDownload::isQueryingInfo() const
{
    return isRunning() && queryMode();
}

int WwwDownload::currentTasks() const
{
    return isRunning() ? DownloadingTask : 0;
}

void WwwDownload::doCommand(AbstractDownloadCommand command)
{
    DOWNLOAD_ASSERT(isCalledAtHome(this));
    switch (command) {
    case AbstractDownloadCommand::QueryInfo:
    case AbstractDownloadCommand::QueryInfoMinimal:
    case AbstractDownloadCommand::Start:
    case AbstractDownloadCommand::Restart:
        start(command);
        break;
    case AbstractDownloadCommand::Stop:
        stop(abortedAt(kStopCommandLine));
        break;
    case AbstractDownloadCommand::CheckResource:
        checkIfResourceChanged();
        break;
    case AbstractDownloadCommand::FinishNow:
        if (isRunning() && !isFinalizing()) {
            setState(FinishNowRequested, true);
            stop(abortedAt(kFinishNowCommandLine));
        }
        break;
    }
}

void WwwDownload::start(AbstractDownloadCommand command)
{
    if (isRunning() || !m_record)
        return;
    const bool wasFinished = m_record->isFinished();
    if (wasFinished && command != AbstractDownloadCommand::Restart)
        return;
    const RunGuard guard(this, m_runsEnded);
    if (wasFinished)
        setFinished(false);
    if (!guard || isRunning())
        return;
    const bool hadError = bool(m_record->lastError);
    beginRun(command);
    if (!guard)
        return;
    if (m_record->resumeSupport == AbstractDownloadPersistentInfo::ResumeUnknown && m_pack.size() == 1)
        m_plan.allowResumeTest();
    if (isUnsupported()) {
        endUnsupported();
        return;
    }
    if (hadError || wasFinished)
        Q_EMIT changed(false);
    if (guard)
        carryOut(command);
}

void WwwDownload::beginRun(AbstractDownloadCommand command)
{
    log(u"starting..."_s);
    m_plan.begin();
    m_mode = command;
    m_details = {};
    clearLastError(false);
    setRunning(true);
}

void WwwDownload::endUnsupported()
{
    const RunGuard guard(this, m_runsEnded);
    m_record->setLastError(genericErrorAt(GenericErrorCode::NotSupported, kUnsupportedAtStartLine));
    Q_EMIT changed(false);
    if (guard)
        setRunning(false);
}

void WwwDownload::carryOut(AbstractDownloadCommand command)
{
    if (command == AbstractDownloadCommand::Restart)
        startAgain();
    else if (queryMode())
        startQuery();
    else
        startDownload();
}

void WwwDownload::startAgain()
{
    const RunGuard guard(this, m_runsEnded);
    removeAllSections();
    if (!guard)
        return;
    m_record.dropPendingContent();
    // A shorter resource would leave the old one's tail behind its own bytes.
    if (m_record->destinationType == AbstractDownloadPersistentInfo::ToMemory)
        m_record->content.clear();
    if (hasFile()) {
        if (!discardFirstFile())
            return;
        m_record->setFlag(AbstractDownloadPersistentInfo::ResourceChanged, false);
        Q_EMIT changed(true);
    }
    if (guard)
        startExtraSection();
}

/// False = there is nothing to go on with: this is no more, or the file is another process's, and stays as it was.
bool WwwDownload::discardFirstFile()
{
    const QList<AbstractDownloadSection> had = std::exchange(firstFile().sections, {});
    if (!firstFile().isOnDisk())
        return true;
    const RunGuard guard(this, m_runsEnded);
    const RunGuard lives(this);
    Q_EMIT performingFilesOperations(true);
    if (!lives)
        return false;
    // A receiver may have begun anew, which has removed it.
    const bool isRefused = hasFile() && firstFile().isOnDisk() && !removeFirstFile();
    if (isRefused)
        firstFile().sections = had;
    Q_EMIT performingFilesOperations(false);
    if (isRefused && guard)
        endWithFilesError(takenError(m_record->filePath(0)));
    return !isRefused && lives;
}

/// False = another process has it by now.
bool WwwDownload::removeFirstFile()
{
    const QString path = m_record->filePath(0);
    if (!OwnFiles::mayChange(path))
        return false;
    firstFile().fileFlags &=
        quint8(~(AbstractDownloadFileInfo::CreatedOnDisk | AbstractDownloadFileInfo::Preallocated));
    QFile::remove(path);
    // Where it stays, whoever makes the next one finds it in the way, and says why.
    OwnFiles::forget(path);
    firstFile().pathOnDisk.clear();
    return true;
}

void WwwDownload::startQuery()
{
    // A receiver may be content with what is there by now.
    if (isStopping())
        return;
    if (m_record->bytesDownloaded(false) > 0 || (hasFile() && firstFile().isOnDisk())) {
        setRunning(false);
        return;
    }
    const RunGuard guard(this, m_runsEnded);
    if (!m_pack.empty() || hasFile()) {
        removeAllSections();
        if (!guard)
            return;
        m_record->files.clear();
        Q_EMIT changed(false);
    }
    if (guard)
        startExtraSection();
}

void WwwDownload::startDownload()
{
    if (hasFile() && firstFile().isComplete()) {
        onSectionsFinishedDownloading();
        return;
    }
    const RunGuard guard(this, m_runsEnded);
    // What a query left behind that ended before any answer would stand in the way of a first section.
    if (creatingSection())
        removeCreatingSection(false, u"failed to start"_s);
    if (guard && !startExtraSection())
        endWithoutSection();
}

// A record whose sections leave a hole, or reach beyond the file's size, has nothing that could be started: without an
// end here the download would run for ever.
void WwwDownload::endWithoutSection()
{
    rememberError({int(GenericErrorCode::Unexpected), ErrorCategory::kGeneric, errorSourceHere(),
                   "the sections of the file do not add up to its size"});
    stop(AbstractError());
}

void WwwDownload::setFinished(bool finished)
{
    m_record->setFinished(finished, true);
    Q_EMIT changed(false);
}

void WwwDownload::onSectionsRunning(bool isRunning)
{
    log("sections running: "_L1 + (isRunning ? '1'_L1 : '0'_L1));
    if (isRunning) {
        setupTimer();
        return;
    }
    if (m_plan.ignoredId() != 0) {
        lookAgainOnceRemoved();
        return;
    }
    releaseTimer();
    if (!this->isRunning())
        return;
    if (isStopping()) {
        continueToStop();
        return;
    }
    const RunGuard guard(this, m_runsEnded);
    updateProgress();
    if (guard)
        Q_EMIT changed(false);
    if (!guard || isStopping() || m_pack.isRunning())
        return;
    if (const AbstractError error = m_pack.lastError()) {
        m_lastError = error;
        m_lastErrorTime = m_pack.lastErrorTime();
        m_lastSslErrors = m_pack.lastSslErrors();
    }
    continueOrEnd();
}

/// The decision waits until the removal is complete; a section started meanwhile makes it void.
void WwwDownload::lookAgainOnceRemoved()
{
    const auto look = [this] {
        if (!m_pack.isRunning())
            onSectionsRunning(false);
    };
    QMetaObject::invokeMethod(this, look, Qt::QueuedConnection);
}

void WwwDownload::continueOrEnd()
{
    if (!queryMode() && !m_lastError) {
        if (hasFile()) {
            startDownload();
            return;
        }
        rememberError(genericErrorAt(GenericErrorCode::Unexpected, kEndedWithoutFileLine));
        m_lastSslErrors.clear();
    }
    stop(AbstractError());
}

void WwwDownload::onSectionItemRunning(qint64 id, bool isRunning)
{
    if (!isRunning)
        m_plan.setExtraWanted(false);
    if (id == m_plan.ignoredId())
        return;
    const SectionPointer item = section(id);
    if (!item)
        return;
    const QLatin1String event = isRunning ? " started"_L1 : item->isFinished() ? " finished"_L1 : " stopped"_L1;
    const AbstractDownloadSection range = item->section();
    log(u"section #%1"_s.arg(id) + event
        + u" (offset: %1, size: %2, done: %3)"_s.arg(range.offset).arg(range.size).arg(range.downloaded));
    if (isRunning)
        return;

    const AbstractError error = item->lastError();
    if (error)
        onSectionFailed(item, error);
    if (queryMode()) {
        if (error && id == m_plan.creatingId())
            removeCreatingSection(true, u"failed to start"_s);
    } else if (item->isFinished()) {
        onSectionFinished(item);
    } else if (id == m_plan.creatingId()) {
        removeCreatingSection(m_pack.size() == 1, u"stopped unexpectedly"_s);
    }
}

void WwwDownload::onSectionFailed(const SectionPointer &section, const AbstractError &error)
{
    if (section->isLastErrorFileError())
        m_plan.refuseMore();
    else
        m_details.failedSource = section->lastSourceUrl();
    log(u"section #%1 error: "_s.arg(section->id()) + error.toLogText());
    if (section->id() == m_plan.creatingId())
        noteBound(m_record->resumeSupport == AbstractDownloadPersistentInfo::ResumeNotSupported
                      ? ConnectionsBound::RangesNotHonoured
                      : ConnectionsBound::AnotherFailed);
}

void WwwDownload::onSectionFinished(const SectionPointer &section)
{
    const auto creatingEndsHere = [this, &section] {
        return m_plan.endsWithCreating(plannedSections(), section->section());
    };
    const RunGuard guard(this, m_runsEnded);
    if (creatingEndsHere())
        removeCreatingSection(false, u"the whole parent section is already finished"_s);
    if (guard)
        compactFinishedSections();
    if (!guard)
        return;
    serializeSections(true);
    if (creatingEndsHere())
        removeCreatingSection(false, u"compacted parent section is already finished"_s);
    if (guard && hasFile() && !firstFile().isComplete())
        startExtraSectionIfPossible();
}

void WwwDownload::setupTimer()
{
    m_progressTimer.reset(new QTimer(this));
    connect(m_progressTimer.get(), &QTimer::timeout, this, &WwwDownload::updateProgress);
    m_progressTimer->setInterval(kProgressIntervalMs);
    m_progressTimer->start();
}

void WwwDownload::releaseTimer()
{
    if (!m_progressTimer)
        return;
    m_progressTimer->stop();
    disconnect(m_progressTimer.get(), nullptr, this, nullptr);
    m_progressTimer.reset();
}
