// SPDX-License-Identifier: MIT
#include <host/network/transfer.h>

#include <host/network/ftptransfer.h>
#include <host/network/httptransfer.h>
#include <host/policy/schemes.h>

#include <QFile>

#include <algorithm>
#include <cstring>
#include <utility>

#include <sys/socket.h>

using namespace Qt::StringLiterals;

namespace
{

constexpr qint64 kMsOfSecond = 1000;
constexpr int kFreeReceiveBuffer = 4 * 1024 * 1024;
/// With less, a sender that has seen more waits for its timer at each piece.
constexpr int kLeastReceiveBuffer = 32 * 1024;

/// As libcurl wants it: without brackets, an IPv6 address looks like a host and a port.
QByteArray hostOf(const QUrl &proxy)
{
    const QByteArray host = proxy.host(QUrl::FullyEncoded).toUtf8();
    return host.contains(':') ? '[' + host + ']' : host;
}

/// @param bytes 0 = the kernel finds out by itself, as it does where nobody says anything
void setReceiveBuffer(curl_socket_t socket, qint64 bytes)
{
    const int size =
        bytes > 0 ? int(std::clamp<qint64>(bytes, kLeastReceiveBuffer, kFreeReceiveBuffer)) : kFreeReceiveBuffer;
    ::setsockopt(socket, SOL_SOCKET, SO_RCVBUF, &size, sizeof size);
#ifdef SO_BUF_LOCK
    // Older kernels do not know it, and stay at the size.
    const int unlocked = 0;
    if (bytes <= 0)
        ::setsockopt(socket, SOL_SOCKET, SO_BUF_LOCK, &unlocked, sizeof unlocked);
#endif
}

}

std::shared_ptr<Transfer> Transfer::make(const TransferRequest &request, std::shared_ptr<TransferMeans> means)
{
    if (Schemes::isFtp(request.url))
        return std::make_shared<FtpTransfer>(request, std::move(means));
    return std::make_shared<HttpTransfer>(request, std::move(means));
}

Transfer::Transfer(const TransferRequest &request, std::shared_ptr<TransferMeans> means)
    : m_request(request)
    , m_means(std::move(means))
    , m_errorText(CURL_ERROR_SIZE, '\0')
    , m_pipe(m_means)
{
}

Transfer::~Transfer() = default;

void Transfer::prepare()
{
    m_handle.reset(curl_easy_init());
    set(CURLOPT_NOSIGNAL, 1L);
    // A name that is still being looked up would hold up whoever cancels.
    set(CURLOPT_QUICK_EXIT, 1L);
    set(CURLOPT_TCP_KEEPALIVE, 1L);
    set(CURLOPT_BUFFERSIZE, m_means->budget.wireBufferSize());
    set(CURLOPT_ERRORBUFFER, m_errorText.data());
    set(CURLOPT_HEADERFUNCTION, &Transfer::onHeadLine);
    set(CURLOPT_HEADERDATA, this);
    set(CURLOPT_WRITEFUNCTION, &Transfer::onBody);
    set(CURLOPT_WRITEDATA, this);
    set(CURLOPT_SOCKOPTFUNCTION, &Transfer::onSocket);
    set(CURLOPT_SOCKOPTDATA, this);
    prepareProxy();
    if (m_request.path)
        preparePath();
}

void Transfer::resume()
{
    // Calls back at once with what libcurl has kept.
    curl_easy_pause(m_handle.get(), CURLPAUSE_CONT);
}

/// What the kernel takes in for a reader that is held back would be sent all the same, and be lost with the connection.
void Transfer::holdBack(qint64 bytes, curl_socket_t socket)
{
    const bool wasHeld = std::exchange(m_heldTo, bytes) > 0;
    if (bytes <= 0 && !wasHeld && !m_isHoldDue)
        return;
    m_isHoldDue = socket == CURL_SOCKET_BAD;
    if (socket != CURL_SOCKET_BAD)
        setReceiveBuffer(socket, bytes);
    // It may stay as small for the next one.
    set(CURLOPT_FORBID_REUSE, 1L);
}

void Transfer::hand(QByteArrayView data)
{
    m_hasNewBody = true;
    if (!m_pipe.putBody(data))
        curl_easy_pause(m_handle.get(), CURLPAUSE_RECV);
}

void Transfer::tellBody()
{
    if (std::exchange(m_hasNewBody, false))
        m_pipe.tellBody();
}

QString Transfer::wordsFor(CURLcode code) const
{
    if (const int number = int(get<long>(CURLINFO_OS_ERRNO, 0)); code == CURLE_COULDNT_CONNECT && number > 0)
        return QString::fromLocal8Bit(std::strerror(number));
    const QString text = QString::fromUtf8(m_errorText.constData());
    return text.isEmpty() ? QString::fromUtf8(curl_easy_strerror(code)) : text;
}

void Transfer::end(QNetworkReply::NetworkError error, const QString &text)
{
    m_pipe.putEnd({error, text, {}, {}});
}

size_t Transfer::onHeadLine(char *line, size_t size, size_t count, void *self)
{
    const bool goesOn = static_cast<Transfer *>(self)->takeHeadLine(QByteArrayView(line, qsizetype(size * count)));
    return goesOn ? size * count : 0;
}

size_t Transfer::onBody(char *data, size_t size, size_t count, void *self)
{
    switch (static_cast<Transfer *>(self)->takeBody(QByteArrayView(data, qsizetype(size * count)))) {
    case Taken::All:
        return size * count;
    case Taken::NothingYet:
        return CURL_WRITEFUNC_PAUSE;
    case Taken::Refused:
        break;
    }
    return CURL_WRITEFUNC_ERROR;
}

/// Of a connection that is about to be made: what the server is told of the buffer at the start holds for long.
int Transfer::onSocket(void *self, curl_socket_t socket, curlsocktype)
{
    if (const qint64 bytes = static_cast<Transfer *>(self)->m_heldTo; bytes > 0)
        setReceiveBuffer(socket, bytes);
    return CURL_SOCKOPT_OK;
}

void Transfer::preparePath()
{
    const NetworkPath &path = *m_request.path;
    if (!path.interface.isEmpty())
        set(CURLOPT_INTERFACE, path.interface.toUtf8().constData());
    if (path.family != NetworkPath::Family::Any)
        set(CURLOPT_IPRESOLVE,
            path.family == NetworkPath::Family::IPv4 ? long(CURL_IPRESOLVE_V4) : long(CURL_IPRESOLVE_V6));
    for (const QString &line : path.resolved)
        m_resolved.reset(curl_slist_append(m_resolved.release(), line.toUtf8().constData()));
    if (m_resolved)
        set(CURLOPT_RESOLVE, m_resolved.get());
    if (path.connectTimeoutMs > 0)
        set(CURLOPT_CONNECTTIMEOUT_MS, long(path.connectTimeoutMs));
    if (path.silenceTimeoutMs > 0) {
        set(CURLOPT_LOW_SPEED_LIMIT, 1L);
        set(CURLOPT_LOW_SPEED_TIME, long((path.silenceTimeoutMs + kMsOfSecond - 1) / kMsOfSecond));
    }
    prepareCertificate(path);
}

void Transfer::prepareCertificate(const NetworkPath &path)
{
    if (path.certificateFile.isEmpty())
        return;
    const QString &key = path.keyFile.isEmpty() ? path.certificateFile : path.keyFile;
    set(CURLOPT_SSLCERT, QFile::encodeName(path.certificateFile).constData());
    set(CURLOPT_SSLKEY, QFile::encodeName(key).constData());
    // Without one OpenSSL would ask at the terminal.
    set(CURLOPT_KEYPASSWD, path.keyPassword.isNull() ? "" : path.keyPassword.constData());
}

void Transfer::prepareProxy()
{
    const QUrl &proxy = m_request.proxy;
    // Empty texts are needed: without them, libcurl looks into the environment for proxies and exceptions.
    set(CURLOPT_PROXY, hostOf(proxy).constData());
    set(CURLOPT_NOPROXY, "");
    if (proxy.isEmpty())
        return;
    const QString scheme = proxy.scheme();
    const bool isSocks = scheme.startsWith("socks"_L1);
    const long plainOrTls = scheme == Schemes::kHttps ? CURLPROXY_HTTPS : CURLPROXY_HTTP;
    set(CURLOPT_PROXYPORT, long(proxy.port()));
    set(CURLOPT_PROXYTYPE, isSocks ? long(CURLPROXY_SOCKS5_HOSTNAME) : plainOrTls);
    set(CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
    if (proxy.userName().isEmpty())
        return;
    set(CURLOPT_PROXYUSERNAME, proxy.userName(QUrl::FullyDecoded).toUtf8().constData());
    set(CURLOPT_PROXYPASSWORD, proxy.password(QUrl::FullyDecoded).toUtf8().constData());
    set(CURLOPT_PROXYAUTH, long(CURLAUTH_BASIC | CURLAUTH_DIGEST));
}
