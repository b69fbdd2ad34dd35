// SPDX-License-Identifier: MIT
#include <inet/qt/download/downloadswww/networkerrors.h>
#include <inet/qt/download/downloadswww/wwwdownloader.h>
#include <inet/qt/download/framework/abstractnetworkaccesschief.h>
#include <inet/qt/download/framework/runguard.h>

#include <QNetworkAccessManager>
#include <QNetworkCookieJar>
#include <QNetworkRequest>
#include <QTimer>

#include <utility>

using namespace Qt::StringLiterals;

namespace
{

QList<QString> headersInWords(const QNetworkReply &reply, int status)
{
    const QString reason = reply.attribute(QNetworkRequest::HttpReasonPhraseAttribute).toString();
    QList<QString> headers{"HTTP/1.1 "_L1 + QString::number(status) + ' '_L1 + reason};
    for (const auto &[name, value] : reply.rawHeaderPairs())
        headers.append(QString::fromUtf8(name) + ": "_L1 + QString::fromUtf8(value));
    return headers;
}

bool isSameHost(const QUrl &a, const QUrl &b)
{
    return a.scheme() == b.scheme() && a.host(QUrl::FullyDecoded) == b.host(QUrl::FullyDecoded);
}

/// A cookie without a domain was given for the source's own host. Unbound, it would follow to the next one.
QList<QNetworkCookie> boundCookies(QList<QNetworkCookie> cookies, const QUrl &url)
{
    for (QNetworkCookie &cookie : cookies) {
        if (cookie.domain().isEmpty())
            cookie.setDomain(url.host(QUrl::FullyDecoded));
    }
    return cookies;
}

}

void WwwDownloader::onMetaDataChanged()
{
    if (!m_reply || m_state != State::Requesting)
        return;
    const RunGuard guard(this, m_runsEnded);
    Q_EMIT responseHeaders(headersInWords(*m_reply, httpStatusCode()));
    if (!guard || !m_reply)
        return;
    applyReadBufferSize();
    if (const QUrl target = redirectTarget(); !target.isEmpty()) {
        followRedirect(m_reply->url().resolved(target));
        return;
    }
    setRedirectedSource(m_reply->url());
    m_responseHeaders = m_reply->rawHeaderPairs();
    transition(State::Receiving);
}

void WwwDownloader::applyReadBufferSize()
{
    if (!m_reply)
        return;
    tellLimit();
    const qint64 limit = m_usageSettings.downloadLimit;
    m_reply->setReadBufferSize(limit > 0 && limit < kReadBufferSize ? limit : kReadBufferSize);
}

/// Empty where the answer is final. The network layer gives a redirect answer without Location a target too.
QUrl WwwDownloader::redirectTarget() const
{
    if (!m_reply->hasRawHeader("Location"))
        return {};
    return m_reply->attribute(QNetworkRequest::RedirectionTargetAttribute).toUrl();
}

void WwwDownloader::followRedirect(const QUrl &url)
{
    if (++m_redirectCount > kMaximumRedirects) {
        setLastError({int(GenericErrorCode::TooManyRedirects), ErrorCategory::kGeneric, errorSourceHere(), {}});
        stop();
        return;
    }
    setRedirectedSource(url);
    abortReply();
    const RunGuard guard(this, m_runsEnded);
    releaseNam();
    if (!guard)
        return;
    transition(State::Requesting);
    WwwDownloadSourceInfo next = m_source;
    next.url = url;
    next.cookies = boundCookies(m_source.cookies, m_source.url);
    startRequest(next, QString(m_userAgent));
}

void WwwDownloader::setRedirectedSource(const QUrl &url)
{
    WwwDownloadSourceInfo redirected = m_source;
    if (url != redirected.url) {
        if (!isSameHost(url, redirected.url))
            redirected.cookies.clear();
        redirected.postData.clear();
        redirected.url = url;
    }
    redirected.cookies = m_manager->cookieJar()->cookiesForUrl(url);
    m_redirectedSource = redirected;
}

void WwwDownloader::onReadyRead()
{
    if (!m_reply || m_reply->bytesAvailable() <= 0)
        return;
    m_inactivityTimer->start();
    const qint64 size = mayRead() ? readableSize() : 0;
    if (size == 0) {
        m_readTimer->start();
        return;
    }
    const RunGuard guard(this, m_runsEnded);
    const bool wantsMore = appendData(take(size), false);
    if (!guard)
        return;
    if (!wantsMore)
        stop();
    else if (m_reply && m_reply->bytesAvailable() > 0)
        m_readTimer->start();
}

/// What may not be read now stays in the reply, and so holds the far side back.
bool WwwDownloader::mayRead() const
{
    return m_inFlight == 0 && !(m_dontEmitData && m_buffer.size() >= kHeldBackSize);
}

/// What a limit leaves of this second; -1 = no limit is in force.
qint64 WwwDownloader::readableSize()
{
    const qint64 limit = tellLimit();
    return limit > 0 ? m_speedPeriod.allowance(limit, currentSecond()) : -1;
}

/// The limit in force, which the reply learns of: what comes in beyond it only waits, and is lost with the connection.
qint64 WwwDownloader::tellLimit()
{
    const qint64 limit = effectiveDownloadLimit(m_usageSettings.downloadLimit, m_chief->usageSettings().downloadLimit);
    if (m_reply->property(AbstractNetworkAccessChief::kDownloadLimit).toLongLong() != limit)
        m_reply->setProperty(AbstractNetworkAccessChief::kDownloadLimit, limit);
    return limit;
}

/// The reply's next bytes; -1 = as many as there are, or as come in one piece.
QByteArray WwwDownloader::take(qint64 maxSize)
{
    const qint64 available = m_reply->bytesAvailable();
    QByteArray data =
        m_takeBlock.isValid() ? takeBlock(maxSize) : m_reply->read(maxSize < 0 ? available : qMin(maxSize, available));
    m_bodyBytes += data.size();
    return data;
}

QByteArray WwwDownloader::takeBlock(qint64 maxSize)
{
    QByteArray block;
    m_takeBlock.invoke(m_reply.get(), Qt::DirectConnection, Q_RETURN_ARG(QByteArray, block), Q_ARG(qint64, maxSize));
    return block;
}

/// All that an ended reply has left.
QByteArray WwwDownloader::takeRest()
{
    if (!m_takeBlock.isValid())
        return m_reply->bytesAvailable() > 0 ? m_reply->readAll() : QByteArray();
    QByteArray rest = takeBlock(-1);
    for (QByteArray block = takeBlock(-1); !block.isEmpty(); block = takeBlock(-1))
        rest.append(block);
    return rest;
}

/// True when more data is wanted.
bool WwwDownloader::appendData(const QByteArray &data, bool force)
{
    if (isFinished())
        return false;
    if (data.isEmpty())
        return true;
    const qint64 now = currentSecond();
    // Shared, not copied: where it is handed out at once, it reaches the disk from where the network put it.
    if (m_buffer.isEmpty())
        m_buffer = data;
    else
        m_buffer.append(data);
    m_source.sectionDownloaded += data.size();
    m_speedPeriod.add(data.size(), now);
    const bool wantsMore = checkDataExcess();
    if (wantsMore && !force && !isHandOutDue()) {
        // A server that sends nothing more must not keep this from the disk.
        if (!m_handOutTimer->isActive())
            m_handOutTimer->start();
        return true;
    }
    emitDataIfPossible();
    return wantsMore;
}

/// Once a second is enough for writers and keeps them from many small chunks on a fast link. A host that would rather
/// not have a second's bytes in memory says how many may gather.
bool WwwDownloader::isHandOutDue() const
{
    const qint64 early = m_chief->property(AbstractNetworkAccessChief::kEarlyHandOutSize).toLongLong();
    return currentSecond() != m_lastEmitSecond || (early > 0 && m_buffer.size() >= early);
}

/// Cuts off what lies beyond the section's end. True when the section can take more.
bool WwwDownloader::checkDataExcess()
{
    const qint64 length = m_source.sectionLength;
    const qint64 excess = m_source.sectionDownloaded - length;
    if (length == -1 || excess < 0)
        return true;
    m_buffer.chop(qMin<qint64>(excess, m_buffer.size()));
    m_source.sectionDownloaded = length;
    return false;
}

void WwwDownloader::emitDataIfPossible()
{
    if (m_dontEmitData || m_inFlight != 0 || m_buffer.isEmpty())
        return;
    m_handOutTimer->stop();
    m_inFlight = m_buffer.size();
    m_lastEmitSecond = currentSecond();
    Q_EMIT gotData(std::exchange(m_buffer, {}));
}

void WwwDownloader::onDataProcessed(qint64 size)
{
    m_inFlight -= qBound<qint64>(0, size, m_inFlight);
    const RunGuard guard(this);
    emitDataIfPossible();
    if (guard && isRunning())
        onReadyRead();
}

void WwwDownloader::setDontEmitData(bool dontEmit)
{
    if (m_dontEmitData == dontEmit)
        return;
    m_dontEmitData = dontEmit;
    emitDataIfPossible();
}

void WwwDownloader::truncateSection(qint64 newSize)
{
    m_source.sectionLength = newSize;
    if (checkDataExcess())
        return;
    const RunGuard guard(this, m_runsEnded);
    emitDataIfPossible();
    if (guard)
        stop();
}

/// The network layer misses some connections that end inside a body, when their end comes along with its last bytes.
bool WwwDownloader::isCutShort() const
{
    const int status = httpStatusCode();
    if ((status != 200 && status != 206) || m_reply->hasRawHeader("Transfer-Encoding")
        || m_reply->hasRawHeader("Content-Encoding"))
        return false;
    const QVariant length = m_reply->header(QNetworkRequest::ContentLengthHeader);
    return length.isValid() && m_bodyBytes + m_reply->bytesAvailable() < length.toLongLong();
}

void WwwDownloader::onFinished()
{
    if (!m_reply)
        return;
    m_inactivityTimer->stop();
    AbstractError error = errorFrom(m_reply.get(), errorSourceHere());
    if (!error && isCutShort())
        error = {QNetworkReply::RemoteHostClosedError, ErrorCategory::kNetwork, errorSourceHere(),
                 tr("Connection closed").toStdString()};
    setLastError(error);
    const QByteArray rest = takeRest();
    // Before the rest is handed out: a receiver that stops there ends a run which lacks nothing.
    if (!error && m_source.sectionLength == -1)
        m_source.sectionLength = m_source.sectionDownloaded + rest.size();
    const RunGuard guard(this, m_runsEnded);
    appendData(rest, true);
    if (!guard)
        return;
    releaseReply();
    emitDataIfPossible();
    if (guard)
        endRun();
}
