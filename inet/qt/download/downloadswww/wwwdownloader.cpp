// SPDX-License-Identifier: MIT
#include <inet/qt/download/downloadswww/wwwdownloader.h>

#include <inet/qt/download/framework/abstractnetworkaccesschief.h>
#include <inet/qt/download/framework/abstractnetworkconsumersstats.h>
#include <inet/qt/download/framework/assertion.h>
#include <inet/qt/download/framework/runguard.h>
#include <inet/qt/download/framework/threadaffinity.h>

#include <QNetworkAccessManager>
#include <QNetworkRequest>
#include <QTimer>

#include <utility>

namespace
{

using State = WwwDownloader::State;
using Table = StateTable<State>;

constexpr Table::Name kStateNames[] = {
    {State::Idle, "Idle"},
    {State::Requesting, "Requesting"},
    {State::Receiving, "Receiving"},
};

constexpr Table::Exit kStateExits[] = {
    {State::Idle, State::Requesting, "start"},
    {State::Requesting, State::Requesting, "redirect (at most 15)"},
    {State::Requesting, State::Receiving, "gotHeaders"},
    {State::Requesting, State::Idle, "failed, 120 s of silence, stop"},
    {State::Receiving, State::Idle, "finished, section full, failed, 120 s of silence, stop"},
};

}

const StateTable<State> &WwwDownloader::states()
{
    static constexpr Table table(kStateNames, kStateExits);
    return table;
}

WwwDownloader::WwwDownloader(QSharedPointer<AbstractNetworkAccessChief> chief, QObject *parent)
    : AbstractNetworkConsumerWithExtraTasks(parent)
    , m_chief(std::move(chief))
    , m_readTimer(new QTimer(this))
    , m_handOutTimer(new QTimer(this))
    , m_inactivityTimer(new QTimer(this))
{
    qRegisterMetaType<QNetworkReply::NetworkError>();
    qRegisterMetaType<QList<QSslError>>();
    m_chief->consumersStats()->registerConsumer(this, true);

    m_readTimer->setInterval(kReadIntervalMs);
    m_readTimer->setSingleShot(true);
    connect(m_readTimer, &QTimer::timeout, this, &WwwDownloader::onReadyRead);
    m_handOutTimer->setInterval(kHandOutIntervalMs);
    m_handOutTimer->setSingleShot(true);
    connect(m_handOutTimer, &QTimer::timeout, this, &WwwDownloader::emitDataIfPossible);
    m_inactivityTimer->setInterval(kInactivityLimitMs);
    connect(m_inactivityTimer, &QTimer::timeout, this, &WwwDownloader::onTimeout);
}

WwwDownloader::~WwwDownloader()
{
    abortReply();
    releaseNam();
    m_chief->consumersStats()->registerConsumer(this, false);
}

qint64 WwwDownloader::id() const
{
    return 0;
}

void WwwDownloader::setNetworkSettings(const AbstractNetworkConsumerSettings &settings)
{
    m_networkSettings = settings;
}

AbstractNetworkConsumerSettings WwwDownloader::networkSettings() const
{
    return m_networkSettings;
}

void WwwDownloader::setNetworkUsageSettings(const NetworkUsageSettings &settings)
{
    if (m_usageSettings == settings)
        return;
    m_usageSettings = settings;
    applyReadBufferSize();
}

NetworkUsageSettings WwwDownloader::networkUsageSettings() const
{
    return m_usageSettings;
}

QtConnectionsMap WwwDownloader::connectionsMap() const
{
    return m_connectionsMap;
}

qint64 WwwDownloader::speed(NetworkTrafficDirection direction, bool) const
{
    return direction == NetworkTrafficDirection::Download ? m_speedPeriod.speed(currentSecond()) : 0;
}

AbstractError WwwDownloader::lastError() const
{
    return m_lastError;
}

QList<QSslError> WwwDownloader::lastSslErrors() const
{
    return m_lastSslErrors;
}

QDateTime WwwDownloader::lastErrorTime() const
{
    return m_lastErrorTime;
}

void WwwDownloader::clearLastError()
{
    setLastError({});
    m_lastSslErrors.clear();
}

bool WwwDownloader::isRunning() const
{
    return m_state != State::Idle;
}

bool WwwDownloader::isFinished() const
{
    return m_source.sectionLength == m_source.sectionDownloaded;
}

bool WwwDownloader::isDataProcessed() const
{
    return !isRunning() && m_inFlight == 0 && m_buffer.isEmpty();
}

WwwDownloadSourceInfo WwwDownloader::source() const
{
    return m_source;
}

const WwwDownloadSourceInfo &WwwDownloader::redirectedSource() const
{
    return m_redirectedSource;
}

QList<QNetworkReply::RawHeaderPair> WwwDownloader::headers() const
{
    return m_responseHeaders;
}

int WwwDownloader::httpStatusCode() const
{
    const QVariant status = m_reply ? m_reply->attribute(QNetworkRequest::HttpStatusCodeAttribute) : QVariant();
    return status.isValid() ? status.toInt() : -1;
}

qint64 WwwDownloader::totalBytes() const
{
    return m_speedPeriod.totalBytes();
}

qint64 WwwDownloader::currentSecond() const
{
    return QDateTime::currentSecsSinceEpoch();
}

void WwwDownloader::start(const WwwDownloadSourceInfo &source, const QString &userAgent)
{
    DOWNLOAD_ASSERT(isCalledAtHome(this));
    if (isRunning())
        return;
    DOWNLOAD_ASSERT(!m_reply && !m_manager);
    clearLastError();
    m_source = source;
    m_userAgent = userAgent;
    // A run that fails before any answer has still been redirected nowhere else.
    m_redirectedSource = m_source;
    m_responseHeaders.clear();
    m_redirectCount = 0;
    m_lastEmitSecond = currentSecond();

    const RunGuard guard(this, m_runsEnded);
    setRunning(true);
    if (guard)
        startRequest(m_source, m_userAgent);
}

void WwwDownloader::stop()
{
    DOWNLOAD_ASSERT(isCalledAtHome(this));
    if (!isRunning())
        return;
    // First of all, so that a receiver which confirms at once does not bring more in behind the last chunk.
    abortReply();
    const RunGuard guard(this, m_runsEnded);
    emitDataIfPossible();
    if (guard)
        endRun();
}

/// The one place where the state changes. Its signal is the last that happens.
void WwwDownloader::transition(State to)
{
    DOWNLOAD_ASSERT(states().allows(m_state, to));
    const State from = std::exchange(m_state, to);
    if (to == State::Idle)
        ++m_runsEnded;
    if (from == State::Idle || to == State::Idle)
        Q_EMIT running(isRunning());
    else if (to == State::Receiving)
        Q_EMIT gotHeaders();
}

void WwwDownloader::setRunning(bool on)
{
    if (isRunning() != on)
        transition(on ? State::Requesting : State::Idle);
}

/// The one exit of a run. The reply is gone by now.
void WwwDownloader::endRun()
{
    DOWNLOAD_ASSERT(!m_reply);
    m_inactivityTimer->stop();
    const RunGuard guard(this, m_runsEnded);
    releaseNam();
    if (guard)
        setRunning(false);
}

void WwwDownloader::setLastError(const AbstractError &error)
{
    m_lastError = error;
    m_lastErrorTime = QDateTime::currentDateTime();
}

void WwwDownloader::onSslErrors(const QList<QSslError> &errors)
{
    m_lastSslErrors = errors;
    if (m_networkSettings.ignoreSslErrors && m_reply)
        m_reply->ignoreSslErrors();
}

void WwwDownloader::onError(QNetworkReply::NetworkError)
{
    onFinished();
}

void WwwDownloader::onTimeout()
{
    if (!isRunning())
        return;
    setLastError({QNetworkReply::TimeoutError, ErrorCategory::kNetwork, errorSourceHere(), {}});
    const RunGuard guard(this, m_runsEnded);
    Q_EMIT timedOut();
    if (guard)
        stop();
}
