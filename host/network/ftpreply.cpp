// SPDX-License-Identifier: MIT
#include <host/network/ftpreply.h>

#include <host/network/ftperrors.h>

#include <QDateTime>
#include <QLocale>
#include <QPointer>
#include <QRegularExpression>
#include <QTimeZone>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace
{

constexpr int kOk = 200;
constexpr int kPartialContent = 206;
constexpr int kNotSatisfiable = 416;

/// libcurl waits, without going on with anything else, for the server's word that an ended transfer was complete.
constexpr long kPatienceAtEndSeconds = 3;
constexpr long kSmallestBuffer = 1024;
constexpr long kLargestBuffer = 16384;

bool hasControlCharacter(const QString &text)
{
    return std::any_of(text.cbegin(), text.cend(), [](QChar c) { return c < u' ' || c == u'\x7f'; });
}

/// What stands behind a "?" belongs to the name, as FTP knows no queries; a type is not for us to choose: a file that
/// is not sent as it is has no offsets.
QUrl plainUrl(QUrl url)
{
    static const QRegularExpression type(u";type=[^/]*$"_s, QRegularExpression::CaseInsensitiveOption);
    QString path = url.path(QUrl::FullyEncoded);
    if (url.hasQuery())
        path += "%3F"_L1 + url.query(QUrl::FullyEncoded);
    url.setPath(path.remove(type), QUrl::TolerantMode);
    url.setQuery(QString());
    url.setFragment(QString());
    url.setUserInfo(QString());
    return url;
}

/// Why it cannot be asked for at all; empty = it can.
QString refusal(const QUrl &url, const Login &login)
{
    if (url.path().isEmpty() || url.path().endsWith(u'/'))
        return u"The address names a folder, not a file."_s;
    if (hasControlCharacter(login.user) || hasControlCharacter(login.password)
        || hasControlCharacter(url.path(QUrl::FullyDecoded)))
        return u"The address holds control characters."_s;
    return {};
}

}

FtpReply::FtpReply(const QNetworkRequest &request, const Login &login, const QNetworkProxy &proxy,
                   QSharedPointer<FtpLoop> loop, QObject *parent)
    : QNetworkReply(parent)
    , m_login(login)
    , m_proxy(proxy)
    , m_loop(std::move(loop))
    , m_errorText(CURL_ERROR_SIZE, '\0')
    , m_range(rangeFrom(request.rawHeader("Range")))
{
    setOperation(QNetworkAccessManager::GetOperation);
    setRequest(request);
    setUrl(request.url());
    open(QIODevice::ReadOnly | QIODevice::Unbuffered);
    QMetaObject::invokeMethod(this, &FtpReply::begin, Qt::QueuedConnection);
}

FtpReply::~FtpReply()
{
    leaveLoop();
}

void FtpReply::close()
{
    QNetworkReply::close();
    abort();
}

qint64 FtpReply::bytesAvailable() const
{
    return QNetworkReply::bytesAvailable() + m_buffer.size();
}

void FtpReply::setReadBufferSize(qint64 size)
{
    QNetworkReply::setReadBufferSize(size);
    resumeLater();
}

void FtpReply::abort()
{
    if (isFinished())
        return;
    m_buffer.clear();
    endWith(OperationCanceledError, tr("Operation canceled"));
}

qint64 FtpReply::readData(char *data, qint64 maxSize)
{
    if (m_buffer.isEmpty())
        return isFinished() ? -1 : 0;
    const qint64 count = std::min<qint64>(maxSize, m_buffer.size());
    std::copy_n(m_buffer.cbegin(), count, data);
    m_buffer.remove(0, count);
    resumeLater();
    return count;
}

/// One range with a start, as in "bytes=5-" and "bytes=5-9"; other headers are as good as none.
std::optional<FtpReply::Range> FtpReply::rangeFrom(const QByteArray &header)
{
    static const QRegularExpression pattern(u"^\\s*bytes\\s*=\\s*(\\d+)\\s*-\\s*(\\d*)\\s*$"_s);
    const QRegularExpressionMatch match = pattern.match(QString::fromLatin1(header));
    bool isFirst = false;
    bool isLast = match.captured(2).isEmpty();
    const bool isOpen = isLast;
    const Range range{match.captured(1).toLongLong(&isFirst), isOpen ? -1 : match.captured(2).toLongLong(&isLast)};
    const bool isSound = isFirst && isLast && (isOpen || range.last >= range.first);
    return isSound ? std::optional(range) : std::nullopt;
}

size_t FtpReply::onHeaderLine(char *line, size_t size, size_t count, void *reply)
{
    auto *const self = static_cast<FtpReply *>(reply);
    self->m_dialogue.addLine(QByteArrayView(line, qsizetype(size * count)));
    if (self->m_dialogue.hasBegun())
        curl_easy_setopt(self->m_handle.get(), CURLOPT_SERVER_RESPONSE_TIMEOUT, kPatienceAtEndSeconds);
    return size * count;
}

size_t FtpReply::onBody(char *data, size_t size, size_t count, void *reply)
{
    return static_cast<FtpReply *>(reply)->take(data, size * count);
}

void FtpReply::onTurn()
{
    const QPointer<FtpReply> self(this);
    if (m_dialogue.hasBegun() && !m_isHeadTold)
        onBegun();
    if (self && !isFinished() && m_isHeadTold)
        tellData();
    // The connection goes without the server's last word, which may never come and is not needed.
    if (self && !isFinished() && m_isHeadTold && isWhole())
        finish();
}

void FtpReply::onEnded(CURLcode code)
{
    const bool cannotBeginThere = code == CURLE_FTP_COULDNT_USE_REST;
    const bool isNothingLeft = code == CURLE_BAD_DOWNLOAD_RESUME || (code == CURLE_OK && !m_isHeadTold);
    const bool isCutShort = code == CURLE_OK && announcedLength() > m_received;
    if (m_range && cannotBeginThere)
        askForAll();
    else if (m_range && isNothingLeft)
        tellNotSatisfiable();
    else if (isCutShort)
        failWith(CURLE_PARTIAL_FILE);
    else if (code != CURLE_OK)
        failWith(code);
    else
        finish();
}

void FtpReply::begin()
{
    if (isFinished())
        return;
    if (const QString reason = refusal(url(), m_login); !reason.isEmpty()) {
        endWith(ContentOperationNotPermittedError, reason);
        return;
    }
    m_handle.reset(curl_easy_init());
    prepareHandle();
    prepareLogin();
    prepareProxy();
    prepareRange();
    m_loop->add(m_handle.get(), this);
}

void FtpReply::prepareHandle()
{
    CURL *const handle = m_handle.get();
    const qint64 limit = readBufferSize() > 0 ? readBufferSize() : kLargestBuffer;
    curl_easy_setopt(handle, CURLOPT_URL, plainUrl(url()).toEncoded(QUrl::FullyEncoded).constData());
    curl_easy_setopt(handle, CURLOPT_PROTOCOLS_STR, "ftp");
    curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L);
    // A name that is still being looked up would hold up abort().
    curl_easy_setopt(handle, CURLOPT_QUICK_EXIT, 1L);
    curl_easy_setopt(handle, CURLOPT_TCP_KEEPALIVE, 1L);
    curl_easy_setopt(handle, CURLOPT_FILETIME, 1L);
    curl_easy_setopt(handle, CURLOPT_BUFFERSIZE, std::clamp(long(limit), kSmallestBuffer, kLargestBuffer));
    curl_easy_setopt(handle, CURLOPT_ERRORBUFFER, m_errorText.data());
    curl_easy_setopt(handle, CURLOPT_HEADERFUNCTION, &FtpReply::onHeaderLine);
    curl_easy_setopt(handle, CURLOPT_HEADERDATA, this);
    curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, &FtpReply::onBody);
    curl_easy_setopt(handle, CURLOPT_WRITEDATA, this);
}

void FtpReply::prepareLogin()
{
    if (m_login.user.isEmpty())
        return;
    curl_easy_setopt(m_handle.get(), CURLOPT_USERNAME, m_login.user.toUtf8().constData());
    curl_easy_setopt(m_handle.get(), CURLOPT_PASSWORD, m_login.password.toUtf8().constData());
}

void FtpReply::prepareProxy()
{
    CURL *const handle = m_handle.get();
    const bool isHttp = m_proxy.type() == QNetworkProxy::HttpProxy;
    // An empty name is needed: without one, libcurl looks into the environment.
    const QByteArray host = isHttp || m_proxy.type() == QNetworkProxy::Socks5Proxy ? m_proxy.hostName().toUtf8() : "";
    curl_easy_setopt(handle, CURLOPT_PROXY, host.constData());
    if (host.isEmpty())
        return;
    curl_easy_setopt(handle, CURLOPT_PROXYPORT, long(m_proxy.port()));
    curl_easy_setopt(handle, CURLOPT_PROXYTYPE, long(isHttp ? CURLPROXY_HTTP : CURLPROXY_SOCKS5_HOSTNAME));
    curl_easy_setopt(handle, CURLOPT_HTTPPROXYTUNNEL, 1L);
    curl_easy_setopt(handle, CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
    if (!m_proxy.user().isEmpty()) {
        curl_easy_setopt(handle, CURLOPT_PROXYUSERNAME, m_proxy.user().toUtf8().constData());
        curl_easy_setopt(handle, CURLOPT_PROXYPASSWORD, m_proxy.password().toUtf8().constData());
    }
}

void FtpReply::prepareRange()
{
    CURL *const handle = m_handle.get();
    if (m_range) {
        const QByteArray last = m_range->last < 0 ? QByteArray() : QByteArray::number(m_range->last);
        curl_easy_setopt(handle, CURLOPT_RANGE, (QByteArray::number(m_range->first) + '-' + last).constData());
    }
    if (!m_range || m_range->first == 0) {
        // Only a server that is asked says whether it can begin in the middle; "*": it may as well not understand.
        m_questions.reset(curl_slist_append(nullptr, "*REST 0"));
        curl_easy_setopt(handle, CURLOPT_PREQUOTE, m_questions.get());
    }
}

/// As an HTTP server does that does not know ranges.
void FtpReply::askForAll()
{
    leaveLoop();
    m_range.reset();
    m_dialogue = {};
    m_buffer.clear();
    m_received = 0;
    m_isPaused = false;
    curl_easy_setopt(m_handle.get(), CURLOPT_RANGE, nullptr);
    curl_easy_setopt(m_handle.get(), CURLOPT_SERVER_RESPONSE_TIMEOUT, 0L);
    m_loop->add(m_handle.get(), this);
}

void FtpReply::leaveLoop()
{
    if (m_handle)
        m_loop->remove(m_handle.get());
}

void FtpReply::onBegun()
{
    if (m_range && m_dialogue.size() < 0)
        askForAll();
    else if (isBehindEnd())
        tellNotSatisfiable();
    else
        tellHead();
}

void FtpReply::tellHead()
{
    m_isHeadTold = true;
    const qint64 length = announcedLength();
    setAttribute(QNetworkRequest::HttpStatusCodeAttribute, m_range ? kPartialContent : kOk);
    setAttribute(QNetworkRequest::HttpReasonPhraseAttribute, m_range ? "Partial Content"_ba : "OK"_ba);
    // FTP names no types; who reads an answer without one may take it for a page.
    setRawHeader("Content-Type", "application/octet-stream");
    if (length >= 0)
        setRawHeader("Content-Length", QByteArray::number(length));
    if (m_range)
        setRawHeader("Content-Range",
                     "bytes " + QByteArray::number(m_range->first) + '-'
                         + QByteArray::number(m_range->first + length - 1) + '/'
                         + QByteArray::number(m_dialogue.size()));
    if (length >= 0 && m_dialogue.takesRanges())
        setRawHeader("Accept-Ranges", "bytes");
    if (const QByteArray date = lastModified(); !date.isEmpty())
        setRawHeader("Last-Modified", date);
    Q_EMIT metaDataChanged();
}

void FtpReply::tellData()
{
    if (m_told == m_received)
        return;
    m_told = m_received;
    const QPointer<FtpReply> self(this);
    Q_EMIT readyRead();
    if (self && !isFinished())
        Q_EMIT downloadProgress(m_received, announcedLength());
}

void FtpReply::tellNotSatisfiable()
{
    leaveLoop();
    m_isHeadTold = true;
    setAttribute(QNetworkRequest::HttpStatusCodeAttribute, kNotSatisfiable);
    setAttribute(QNetworkRequest::HttpReasonPhraseAttribute, "Range Not Satisfiable"_ba);
    if (m_dialogue.size() >= 0)
        setRawHeader("Content-Range", "bytes */" + QByteArray::number(m_dialogue.size()));
    const QPointer<FtpReply> self(this);
    Q_EMIT metaDataChanged();
    if (self && !isFinished())
        endWith(UnknownContentError, u"The file ends before byte %1."_s.arg(m_range->first));
}

/// How libcurl wants it answered: all of it, or none and no more until resume().
size_t FtpReply::take(const char *data, size_t size)
{
    if (!hasRoomFor(qint64(size))) {
        m_isPaused = true;
        return CURL_WRITEFUNC_PAUSE;
    }
    const qint64 length = announcedLength();
    const qint64 wanted = length < 0 ? qint64(size) : std::min(qint64(size), length - m_received);
    m_buffer.append(data, wanted);
    m_received += wanted;
    return size;
}

bool FtpReply::hasRoomFor(qint64 size) const
{
    return readBufferSize() == 0 || m_buffer.isEmpty() || m_buffer.size() + size <= readBufferSize();
}

/// Not at once: libcurl hands out what it has kept back, and somebody is just reading.
void FtpReply::resumeLater()
{
    if (!m_isPaused || !hasRoomFor(1) || std::exchange(m_isResumeDue, true))
        return;
    QMetaObject::invokeMethod(this, &FtpReply::resume, Qt::QueuedConnection);
}

void FtpReply::resume()
{
    m_isResumeDue = false;
    if (isFinished() || !std::exchange(m_isPaused, false))
        return;
    m_loop->resume(m_handle.get());
}

bool FtpReply::isBehindEnd() const
{
    return m_range && m_range->first >= m_dialogue.size();
}

/// Of this answer's body; -1 = unknown.
qint64 FtpReply::announcedLength() const
{
    const qint64 size = m_dialogue.size();
    if (!m_range || size < 0)
        return size;
    const qint64 end = m_range->last < 0 ? size : std::min(m_range->last + 1, size);
    return std::max<qint64>(0, end - m_range->first);
}

/// Empty where the server did not tell.
QByteArray FtpReply::lastModified() const
{
    curl_off_t seconds = -1;
    curl_easy_getinfo(m_handle.get(), CURLINFO_FILETIME_T, &seconds);
    if (seconds < 0)
        return {};
    const QDateTime time = QDateTime::fromSecsSinceEpoch(seconds, Qt::UTC);
    return QLocale::c().toString(time, u"ddd, dd MMM yyyy hh:mm:ss 'GMT'"_s).toLatin1();
}

bool FtpReply::isWhole() const
{
    return m_received == announcedLength();
}

void FtpReply::failWith(CURLcode code)
{
    long answer = 0;
    long systemError = 0;
    curl_easy_getinfo(m_handle.get(), CURLINFO_RESPONSE_CODE, &answer);
    curl_easy_getinfo(m_handle.get(), CURLINFO_OS_ERRNO, &systemError);
    const QString text = QString::fromUtf8(m_errorText.constData());
    endWith(ftpNetworkError(code, int(answer), int(systemError)),
            text.isEmpty() ? QString::fromUtf8(curl_easy_strerror(code)) : text);
}

void FtpReply::endWith(NetworkError code, const QString &text)
{
    leaveLoop();
    setError(code, text);
    setFinished(true);
    const QPointer<FtpReply> self(this);
    Q_EMIT errorOccurred(code);
    if (self)
        finish();
}

void FtpReply::finish()
{
    leaveLoop();
    setFinished(true);
    const QPointer<FtpReply> self(this);
    Q_EMIT readChannelFinished();
    if (self)
        Q_EMIT finished();
}
