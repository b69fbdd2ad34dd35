// SPDX-License-Identifier: MIT
#include <inet/qt/download/downloadswww/wwwdownloadsection.h>

#include <inet/qt/download/framework/assertion.h>
#include <inet/qt/download/framework/qtappdefaultlogger.h>
#include <inet/qt/download/framework/qtapploggertextstream.h>
#include <inet/qt/download/framework/qtqobjectstracker.h>
#include <inet/qt/download/framework/runguard.h>
#include <inet/qt/download/framework/threadaffinity.h>

using namespace Qt::StringLiterals;

namespace
{

using State = WwwDownloadSection::State;
using Table = StateTable<State>;

constexpr Table::Name kStateNames[] = {
    {State::Idle, "Idle"},         {State::Requesting, "Requesting"}, {State::WaitingFile, "WaitingFile"},
    {State::Opening, "Opening"},   {State::Writing, "Writing"},       {State::Closing, "Closing"},
    {State::Stopping, "Stopping"},
};

constexpr Table::Exit kStateExits[] = {
    {State::Idle, State::Requesting, "start, query"},
    {State::Requesting, State::Idle, "response refused, transfer failed, stop"},
    {State::Requesting, State::Idle, "query answered (its transfer is kept for 90 s)"},
    {State::Requesting, State::WaitingFile, "good response or a query's transfer adopted, no file yet"},
    {State::Requesting, State::Opening, "good response or a query's transfer adopted"},
    {State::WaitingFile, State::Opening, "onFileCreated"},
    {State::WaitingFile, State::Idle, "stop"},
    {State::Opening, State::Writing, "opened"},
    {State::Opening, State::Closing, "transfer ended, and brought nothing"},
    {State::Opening, State::Idle, "failed"},
    {State::Opening, State::Stopping, "stop (what was held is dropped)"},
    {State::Writing, State::Closing, "transfer ended and all is written"},
    {State::Writing, State::Stopping, "failed, stop"},
    {State::Closing, State::Idle, "closed"},
    {State::Closing, State::Stopping, "stop"},
    {State::Stopping, State::Idle, "closed, or stop once more"},
};

}

const StateTable<State> &WwwDownloadSection::states()
{
    static constexpr Table table(kStateNames, kStateExits);
    return table;
}

WwwDownloadSection::WwwDownloadSection(qint64 id, const QString &logPrefix, const AbstractDownloadSection &section,
                                       QSharedPointer<AbstractDownloadPersistentInfo> info,
                                       QSharedPointer<AbstractNetworkAccessChief> chief, bool resourceCheck,
                                       QSharedPointer<DownloadMirrorsUsageManager> mirrors, QObject *parent)
    : AbstractNetworkConsumerWithExtraTasks(parent)
    , m_id(id)
    , m_logPrefix(logPrefix)
    , m_section(section)
    , m_info(std::move(info))
    , m_chief(std::move(chief))
    , m_resourceCheck(resourceCheck)
    , m_mirrors(std::move(mirrors))
{
    m_queryKeptTimer.setParent(this);
    m_queryKeptTimer.setSingleShot(true);
    m_queryKeptTimer.setInterval(kQueryTransferKeptMs);
    connect(&m_queryKeptTimer, &QTimer::timeout, this, &WwwDownloadSection::dropDldrOfQueryIfRequired);
}

WwwDownloadSection::~WwwDownloadSection()
{
    finishedUsingMirror();
    if (m_downloader)
        connectDownloader(m_downloader.get(), false);
    // A writer into memory must not be handed anything more: the record may end with the section.
    releaseWriter();
}

qint64 WwwDownloadSection::id() const
{
    return m_id;
}

void WwwDownloadSection::setNetworkSettings(const AbstractNetworkConsumerSettings &settings)
{
    m_networkSettings = settings;
    if (m_downloader)
        m_downloader->setNetworkSettings(settings);
}

AbstractNetworkConsumerSettings WwwDownloadSection::networkSettings() const
{
    return m_networkSettings;
}

void WwwDownloadSection::setNetworkUsageSettings(const NetworkUsageSettings &settings)
{
    if (m_usageSettings == settings)
        return;
    m_usageSettings = settings;
    if (m_downloader)
        m_downloader->setNetworkUsageSettings(settingsForDownloader());
}

NetworkUsageSettings WwwDownloadSection::networkUsageSettings() const
{
    return m_usageSettings;
}

QtConnectionsMap WwwDownloadSection::connectionsMap() const
{
    return m_downloader ? m_downloader->connectionsMap() : QtConnectionsMap();
}

qint64 WwwDownloadSection::speed(NetworkTrafficDirection direction, bool payloadOnly) const
{
    return m_downloader ? m_downloader->speed(direction, payloadOnly) : 0;
}

AbstractError WwwDownloadSection::lastError() const
{
    if (m_lastError)
        return m_lastError;
    if (m_downloader && m_downloader->lastError())
        return m_downloader->lastError();
    return m_writer ? m_writer->lastError() : m_lastError;
}

QList<QSslError> WwwDownloadSection::lastSslErrors() const
{
    return m_lastSslErrors;
}

QDateTime WwwDownloadSection::lastErrorTime() const
{
    if (m_lastError)
        return m_lastErrorTime;
    if (m_downloader && m_downloader->lastError())
        return m_downloader->lastErrorTime();
    return m_writer ? m_writer->lastErrorTime() : m_lastErrorTime;
}

void WwwDownloadSection::clearLastError()
{
    m_lastError = {};
    m_lastSslErrors.clear();
    m_lastErrorTime = QDateTime::currentDateTime();
    m_lastErrorIsFileError = false;
    if (m_downloader)
        m_downloader->clearLastError();
    if (m_writer)
        m_writer->clearLastError();
}

bool WwwDownloadSection::isRunning() const
{
    return m_state != State::Idle;
}

bool WwwDownloadSection::isFinished() const
{
    return !isRunning() && m_section.downloaded == m_section.size;
}

bool WwwDownloadSection::isLastErrorFileError() const
{
    return m_lastErrorIsFileError;
}

AbstractDownloadSection WwwDownloadSection::section() const
{
    return m_section;
}

void WwwDownloadSection::query(bool minimalMode)
{
    start(true, minimalMode);
}

void WwwDownloadSection::start()
{
    start(false, false);
}

void WwwDownloadSection::start(bool query, bool minimalMode)
{
    DOWNLOAD_ASSERT(isCalledAtHome(this));
    if (isRunning())
        return;
    // One whose close nobody waited for.
    releaseWriter();
    const RunGuard guard(this, m_runsEnded);
    transition(State::Requesting);
    if (!guard)
        return;
    log(u"starting..."_s);

    const bool previousWasQuery = m_query;
    m_gotResponse = false;
    m_transferOrigin = TransferOrigin::Own;
    m_query = query;
    m_minimal = minimalMode;
    clearLastError();

    if (adoptQueryTransfer(previousWasQuery))
        return;
    if (!m_downloader)
        createDownloader();
    startTransfer();
}

bool WwwDownloadSection::adoptQueryTransfer(bool previousWasQuery)
{
    if (m_query || !previousWasQuery || !m_queryDownloader)
        return false;
    DeferredPointer<WwwDownloader> downloader = std::move(m_queryDownloader);
    if (!downloader->isFinished() && !downloader->isRunning())
        return false;

    m_transferOrigin = TransferOrigin::Query;
    if (downloader->isRunning())
        downloader->setNetworkUsageSettings(settingsForDownloader());
    const RunGuard guard(this, m_runsEnded);
    attachDownloader(std::move(downloader));
    if (guard && m_downloader)
        proceedToWriting();
    return true;
}

void WwwDownloadSection::startTransfer()
{
    WwwDownloadSourceInfo source(pickMirror());
    source.sectionOffset = m_section.offset;
    source.sectionLength = m_section.size;
    source.sectionDownloaded = m_section.downloaded;
    m_downloader->start(source, m_info->userAgent);
}

void WwwDownloadSection::dropDldrOfQueryIfRequired()
{
    if (!m_queryDownloader || m_queryDownloader->isFinished())
        return;
    const DeferredPointer<WwwDownloader> downloader = std::move(m_queryDownloader);
    downloader->stop();
}

void WwwDownloadSection::stop(const AbstractError &error, bool isFileError)
{
    DOWNLOAD_ASSERT(isCalledAtHome(this));
    m_queryDownloader.reset();
    // Once detached, the transfer reaches the writer no more: what it has received already is not to be fetched again.
    if (!isOver() && m_downloader && !isFileError)
        m_downloader->emitDataIfPossible();
    if (isOver()) {
        if (isRunning())
            transition(State::Idle);
        return;
    }
    log("stopping with error: "_L1 + error.toLogText());
    m_lastError = error;
    m_lastErrorTime = QDateTime::currentDateTime();
    m_lastErrorIsFileError = isFileError;

    const RunGuard guard(this, m_runsEnded);
    if (m_downloader)
        detachDownloader()->stop();
    if (!guard || isOver())
        return;
    if (isWriterOpeningOrOpen()) {
        transition(State::Stopping);
        m_writer->close();
        return;
    }
    releaseWriter();
    transition(State::Idle);
}

void WwwDownloadSection::onDownloaderRunning(bool isRunning)
{
    log("downloader running: "_L1 + (isRunning ? '1'_L1 : '0'_L1));
    if (isRunning)
        return;
    finishedUsingMirror();
    if (!m_downloader)
        return;

    if (m_transferOrigin == TransferOrigin::Query && m_downloader->lastError()) {
        detachDownloader().reset();
        m_transferOrigin = TransferOrigin::Renewed;
        if (m_writer)
            m_writer->finishPendingData();
        return;
    }
    m_lastError = m_downloader->lastError();
    m_lastSslErrors = m_downloader->lastSslErrors();
    m_lastErrorTime = m_downloader->lastErrorTime();
    const QUrl finalUrl = m_info->finalUrl;
    if (m_lastError)
        updateRedirectedSource();
    const RunGuard guard(this, m_runsEnded);
    if (m_info->finalUrl != finalUrl)
        Q_EMIT persistentInfoChanged();
    if (!guard)
        return;
    if (!m_query && checkIfAllDataIsWritten())
        return;
    checkStopped();
}

void WwwDownloadSection::checkStopped()
{
    if (!isRunning() || isWriterOpeningOrOpen() || m_state == State::WaitingFile)
        return;
    if (m_downloader && m_downloader->isRunning())
        return;
    // A transfer that was adopted at its end does not end once more.
    finishedUsingMirror();
    m_downloader.reset();
    releaseWriter();
    const RunGuard guard(this, m_runsEnded);
    if (m_section.size == -1 && !m_lastError)
        learnSizeFromEnd();
    if (guard)
        transition(State::Idle);
}

void WwwDownloadSection::learnSizeFromEnd()
{
    m_section.size = m_section.downloaded;
    if (!m_info->files.isEmpty()) {
        AbstractDownloadFileInfo &file = m_info->files.first();
        file.size = m_section.size;
        if (!file.sections.isEmpty())
            file.sections.first() = m_section;
    }
    Q_EMIT persistentInfoChanged();
}

/// The one place where the state changes. Its signal is the last that happens.
void WwwDownloadSection::transition(State to)
{
    DOWNLOAD_ASSERT(states().allows(m_state, to));
    const State from = std::exchange(m_state, to);
    logState();
    if (to == State::Idle)
        ++m_runsEnded;
    if (from == State::Idle || to == State::Idle)
        Q_EMIT running(isRunning());
    else if (to == State::WaitingFile)
        Q_EMIT waitingFileCreate();
}

void WwwDownloadSection::logState() const
{
    if (QtAppDefaultLogger::instance()->verbosityLevel() >= kStateLogLevel)
        log("state: "_L1 + states().nameOf(m_state), kStateLogLevel);
}

void WwwDownloadSection::log(const QString &text, int level) const
{
    if (m_info->hasFlag(AbstractDownloadPersistentInfo::LoggingSuppressed))
        return;
    QtAppLoggerTextStream(QtAppDefaultLogger::instance(), level, true)
        << m_logPrefix << "[Section #" << m_id << "]: " << text;
}

NetworkUsageSettings WwwDownloadSection::settingsForDownloader() const
{
    NetworkUsageSettings settings = m_usageSettings;
    if (m_query)
        settings.downloadLimit = kQueryReadLimit;
    return settings;
}

void WwwDownloadSection::createDownloader()
{
    m_downloader.reset(new WwwDownloader(m_chief, this));
    QtQObjectsTracker::instance()->registerObject(m_downloader.get(), m_downloader->metaObject()->className());
    m_downloader->setNetworkSettings(m_networkSettings);
    m_downloader->setNetworkUsageSettings(settingsForDownloader());
    connectDownloader(m_downloader.get(), true);
    if (m_writer)
        connectDownloaderWithWriter(m_downloader.get(), m_writer.get(), true);
    m_downloader->setDontEmitData(true);
}

void WwwDownloadSection::connectDownloader(WwwDownloader *downloader, bool connectIt)
{
    if (!connectIt) {
        disconnect(downloader, nullptr, this, nullptr);
        return;
    }
    connect(downloader, &WwwDownloader::gotHeaders, this, &WwwDownloadSection::onDownloaderGotHeaders);
    connect(downloader, &WwwDownloader::running, this, &WwwDownloadSection::onDownloaderRunning);
    connect(downloader, &WwwDownloader::connectionsMapChangedDelta, this,
            &WwwDownloadSection::connectionsMapChangedDelta);
    connect(downloader, &WwwDownloader::timedOut, this, &WwwDownloadSection::timedOut);
    connect(downloader, &WwwDownloader::requestHeaders, this, &WwwDownloadSection::requestHeaders);
    connect(downloader, &WwwDownloader::responseHeaders, this, &WwwDownloadSection::responseHeaders);
}

void WwwDownloadSection::attachDownloader(DeferredPointer<WwwDownloader> downloader)
{
    const QtConnectionsMap connections = downloader->connectionsMap();
    const RunGuard guard(this, m_runsEnded);
    connectDownloader(downloader.get(), true);
    if (m_writer)
        connectDownloaderWithWriter(downloader.get(), m_writer.get(), true);
    m_downloader = std::move(downloader);
    if (!connections.isEmpty())
        Q_EMIT connectionsMapChangedDelta(connections);
    if (!guard || !m_downloader)
        return;
    const AbstractDownloadSourceInfo source = m_downloader->source();
    if (m_mirrors->forceblyPickMirror(source)) {
        m_handedOutSource = source;
        m_lastSourceUrl = source.url;
        m_currentSource = source;
    }
}

DeferredPointer<WwwDownloader> WwwDownloadSection::detachDownloader()
{
    finishedUsingMirror();
    QtConnectionsMap connections = m_downloader->connectionsMap();
    DeferredPointer<WwwDownloader> downloader = std::move(m_downloader);
    connectDownloader(downloader.get(), false);
    if (m_writer)
        connectDownloaderWithWriter(downloader.get(), m_writer.get(), false);
    if (!connections.isEmpty()) {
        invert(connections);
        Q_EMIT connectionsMapChangedDelta(connections);
    }
    return downloader;
}

AbstractDownloadSourceInfo WwwDownloadSection::pickMirror()
{
    finishedUsingMirror();
    m_handedOutSource = m_mirrors->pickMirror();
    m_currentSource = m_handedOutSource;
    m_lastSourceUrl = m_handedOutSource.url;
    return m_handedOutSource;
}

// Redirects change the current source; what goes back is what was handed out, or the manager would not know it.
void WwwDownloadSection::finishedUsingMirror()
{
    if (!m_handedOutSource.url.isValid())
        return;
    const AbstractDownloadSourceInfo source = std::exchange(m_handedOutSource, {});
    m_currentSource = {};
    m_mirrors->onFinishedUsingMirror(source, m_downloader ? m_downloader->lastError() : AbstractError());
}
