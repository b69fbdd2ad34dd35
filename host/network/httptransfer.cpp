// SPDX-License-Identifier: MIT
#include <host/network/httptransfer.h>

#include <host/network/tlsgoodbye.h>
#include <host/network/transfererrors.h>
#include <host/parsing/authchallenges.h>
#include <host/parsing/securitywords.h>
#include <host/policy/proxychoice.h>
#include <host/policy/schemes.h>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace
{

constexpr int kUnauthorized = 401;
constexpr int kProxyUnauthorized = 407;
constexpr int kFirstError = 400;

bool isHeaderNamed(const QNetworkReply::RawHeaderPair &header, const char *name)
{
    return header.first.compare(name, Qt::CaseInsensitive) == 0;
}

/// As libcurl wants a line: an empty value is told by another mark.
QByteArray lineFor(const QNetworkReply::RawHeaderPair &header)
{
    return header.second.isEmpty() ? header.first + ';' : header.first + ": " + header.second;
}

}

HttpTransfer::HttpTransfer(const TransferRequest &request, std::shared_ptr<TransferMeans> means)
    : Transfer(request, std::move(means))
    , m_check(request.url.host(QUrl::FullyEncoded).toLatin1(), request.authorities, request.pinnedCertificate,
              Schemes::isHttps(request.proxy))
{
}

HttpTransfer::~HttpTransfer() = default;

void HttpTransfer::prepare()
{
    Transfer::prepare();
    set(CURLOPT_URL, m_request.url.toEncoded(QUrl::FullyEncoded | QUrl::RemoveFragment).constData());
    set(CURLOPT_PROTOCOLS_STR, "http,https");
    // The server knows what it means by dots in a path.
    set(CURLOPT_PATH_AS_IS, 1L);
    set(CURLOPT_HTTP_VERSION, long(CURL_HTTP_VERSION_1_1));
    // Raw, so that the framing can be held to the rules.
    set(CURLOPT_HTTP_TRANSFER_DECODING, 0L);
    set(CURLOPT_HTTP_CONTENT_DECODING, 0L);
    set(CURLOPT_HEADEROPT, long(CURLHEADER_SEPARATE));
    prepareHeaders();
    prepareBody();
    prepareLogin();
    prepareTls();
    prepareTunnel();
}

Transfer::Next HttpTransfer::onEnded(CURLcode code)
{
    if (isLeftoverOfAnother(code))
        return askOnNewConnection();
    if (!m_complaint.isEmpty())
        end(QNetworkReply::ProtocolFailure, m_complaint);
    else if ((code == CURLE_OK || code == CURLE_WRITE_ERROR) && wantsBasic())
        return askWithBasic();
    else if (!m_head.isComplete() || (code != CURLE_OK && isHeadWithheld()))
        endWithoutAnswer(code);
    else if (!isEnded(code))
        endCutShort(code);
    else
        endWithStatus();
    return Next::Leave;
}

void HttpTransfer::release()
{
    Transfer::release();
    m_headerList.reset();
}

void HttpTransfer::prepareHeaders()
{
    curl_slist *list = nullptr;
    for (const QNetworkReply::RawHeaderPair &header : m_request.headers)
        list = curl_slist_append(list, lineFor(header).constData());
    // Nobody has asked for a round trip before the body.
    list = curl_slist_append(list, "Expect:");
    m_headerList.reset(list);
    set(CURLOPT_HTTPHEADER, m_headerList.get());
}

void HttpTransfer::prepareBody()
{
    if (!m_request.isPost)
        return;
    set(CURLOPT_POST, 1L);
    set(CURLOPT_POSTFIELDS, m_request.body.constData());
    set(CURLOPT_POSTFIELDSIZE_LARGE, curl_off_t(m_request.body.size()));
    // On a connection that has been used and is gone by now it would be sent once more, and count twice.
    set(CURLOPT_FRESH_CONNECT, 1L);
    // After a challenge, too: who reads the answer to it and closes has taken the body.
    set(CURLOPT_FORBID_REUSE, 1L);
}

void HttpTransfer::prepareLogin()
{
    const bool isTold =
        std::any_of(m_request.headers.cbegin(), m_request.headers.cend(),
                    [](const QNetworkReply::RawHeaderPair &header) { return isHeaderNamed(header, "Authorization"); });
    m_hasLogin = !m_request.login.isEmpty() && !isTold;
    if (!m_hasLogin)
        return;
    set(CURLOPT_USERNAME, m_request.login.user.toUtf8().constData());
    set(CURLOPT_PASSWORD, m_request.login.password.toUtf8().constData());
    set(CURLOPT_HTTPAUTH, long(CURLAUTH_BASIC | CURLAUTH_DIGEST));
}

void HttpTransfer::prepareTls()
{
    m_check.install(handle());
    if (m_request.pinnedCertificate.isEmpty())
        return;
    // Trusted for once: neither the connection nor its keys are for others.
    set(CURLOPT_FRESH_CONNECT, 1L);
    set(CURLOPT_FORBID_REUSE, 1L);
    set(CURLOPT_SSL_SESSIONID_CACHE, 0L);
    set(CURLOPT_SSL_VERIFYHOST, 0L);
}

/// What a proxy says that does not let anybody through is heard; what it says later, nobody needs to know.
void HttpTransfer::prepareTunnel()
{
    m_isTunnelOpen = !Schemes::isHttps(m_request.url) || !Schemes::isHttp(m_request.proxy);
    if (m_isTunnelOpen)
        return;
    set(CURLOPT_SUPPRESS_CONNECT_HEADERS, 0L);
    set(CURLOPT_PREREQFUNCTION, &HttpTransfer::onTunnelIsOpen);
    set(CURLOPT_PREREQDATA, this);
}

int HttpTransfer::onTunnelIsOpen(void *self, char *, char *, int, int)
{
    auto *const transfer = static_cast<HttpTransfer *>(self);
    transfer->m_isTunnelOpen = true;
    transfer->set(CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
    return CURL_PREREQFUNC_OK;
}

bool HttpTransfer::takeHeadLine(QByteArrayView line)
{
    if (!m_isTunnelOpen) {
        if (m_proxyHead.isComplete())
            m_proxyHead.beginAnew();
        m_proxyHead.addLine(line);
        return true;
    }
    // A challenge was answered, and here is what came of it. Trailers look otherwise.
    if (m_head.isComplete() && !m_isHeadTold && line.startsWith("HTTP/")) {
        m_head.beginAnew();
        m_wasAnswered = true;
    } else if (m_head.isComplete())
        return true;
    if (const QString complaint = m_head.addLine(line); !complaint.isEmpty())
        return complain(complaint);
    return !m_head.isComplete() || onHead();
}

bool HttpTransfer::onHead()
{
    m_goodbye = TlsGoodbye::of(handle());
    m_plan = BodyFraming::planFor(m_head, m_request.range);
    if (!m_plan.complaint.isEmpty())
        return complain(m_plan.complaint);
    if (!m_plan.mayReuse)
        set(CURLOPT_FORBID_REUSE, 1L);
    if (!mayBeAskedAgain())
        tellHead();
    return true;
}

/// What stands in place of a head on a connection that has had an answer before is mostly what its server sent behind
/// that one.
bool HttpTransfer::isLeftoverOfAnother(CURLcode code) const
{
    const bool isWithoutHead = !m_head.isComplete() || isHeadWithheld();
    const bool wasUsed = get<long>(CURLINFO_NUM_CONNECTS, 0) == 0 || isHeadWithheld();
    return code == CURLE_UNSUPPORTED_PROTOCOL && isWithoutHead && wasUsed && !m_request.isPost && !m_isAskedAgain;
}

Transfer::Next HttpTransfer::askOnNewConnection()
{
    m_isAskedAgain = true;
    m_head.beginAnew();
    set(CURLOPT_FRESH_CONNECT, 1L);
    return Next::AskAgain;
}

/// A challenge that may have been answered, with nothing known of what came of it.
bool HttpTransfer::isHeadWithheld() const
{
    return !m_isHeadTold && mayBeAskedAgain();
}

/// libcurl answers a challenge by itself and passes over the answer that made it; only what follows tells whether it
/// has.
bool HttpTransfer::mayBeAskedAgain() const
{
    const int status = m_head.status();
    return (status == kUnauthorized && m_hasLogin)
        || (status == kProxyUnauthorized && !m_request.proxy.userName().isEmpty());
}

/// Of several challenges libcurl gives up at a Digest that it cannot compute, though Basic stands beside it.
bool HttpTransfer::wantsBasic() const
{
    if (m_head.status() != kUnauthorized || !mayBeAskedAgain() || m_wasAnswered || m_isBasic || m_isHeadTold)
        return false;
    const QByteArray value = m_head.values("WWW-Authenticate").join(", ");
    return AuthChallenges::isBasicAlone(AuthChallenges::parse(QString::fromUtf8(value)));
}

Transfer::Next HttpTransfer::askWithBasic()
{
    m_isBasic = true;
    m_head.beginAnew();
    set(CURLOPT_HTTPAUTH, long(CURLAUTH_BASIC));
    return Next::AskAgain;
}

void HttpTransfer::tellHead()
{
    if (std::exchange(m_isHeadTold, true))
        return;
    TransferPipe::Head head{m_head.status(),
                            m_head.reason(),
                            {},
                            m_head.values("Set-Cookie"),
                            Schemes::isHttps(m_request.url),
                            !m_plan.mayRestFollow && (m_plan.end != BodyFraming::End::Close || m_plan.length >= 0)};
    for (const AnswerHead::Field &field : m_head.joinedFields()) {
        if (!m_plan.withheld.contains(field.first.toLower()))
            head.fields.append(field);
    }
    pipe().putHead(head);
}

Transfer::Taken HttpTransfer::takeBody(QByteArrayView data)
{
    if (wantsBasic())
        return Taken::Refused;
    tellHead();
    const bool isFine = m_plan.end == BodyFraming::End::Chunked ? takeChunks(data) : takePlain(data);
    return isFine ? Taken::All : Taken::Refused;
}

bool HttpTransfer::takeChunks(QByteArrayView raw)
{
    while (!raw.isEmpty() && !m_decoder.isAtEnd() && m_decoder.complaint().isEmpty()) {
        if (!takePlain(m_decoder.next(&raw)))
            return false;
    }
    if (!m_decoder.complaint().isEmpty())
        return complain(m_decoder.complaint());
    // What lies behind the end is nobody's answer.
    if (!raw.isEmpty())
        set(CURLOPT_FORBID_REUSE, 1L);
    return true;
}

bool HttpTransfer::takePlain(QByteArrayView data)
{
    const bool isTooMuch = m_plan.length >= 0 && m_received + data.size() > m_plan.length;
    if (isTooMuch)
        data = data.first(m_plan.length - m_received);
    m_received += data.size();
    if (!data.isEmpty())
        hand(data);
    return !isTooMuch
        || complain(
            u"The server sent more than the %1 bytes that it had announced."_s.arg(QString::number(m_plan.length)));
}

bool HttpTransfer::complain(const QString &text)
{
    m_complaint = text;
    return false;
}

/// Whether the body is whole, by what its head says of its end.
bool HttpTransfer::isEnded(CURLcode code) const
{
    switch (m_plan.end) {
    case BodyFraming::End::NoBody:
        return true;
    case BodyFraming::End::Length:
        return m_received == m_plan.length;
    case BodyFraming::End::Chunked:
        return m_decoder.isAtEnd();
    case BodyFraming::End::Close:
        break;
    }
    const bool isCut = m_goodbye && !*m_goodbye;
    return code == CURLE_OK && !isCut && (m_plan.length < 0 || m_received == m_plan.length);
}

void HttpTransfer::endWithStatus()
{
    tellHead();
    const int status = m_head.status();
    if (m_plan.mayRestFollow) {
        end(QNetworkReply::RemoteHostClosedError,
            u"The server sent a part of the file, and does not say whether that was the last one."_s);
        return;
    }
    if (status < kFirstError) {
        end(QNetworkReply::NoError, {});
        return;
    }
    end(TransferErrors::fromStatus(status),
        u"Error transferring %1 - server replied: %2"_s.arg(m_request.url.toDisplayString(),
                                                            QString::fromUtf8(m_head.reason())));
}

void HttpTransfer::endWithoutAnswer(CURLcode code)
{
    // Through a proxy's TLS libcurl does not see why it was that the handshake broke off.
    const bool isRefused = (code == CURLE_PEER_FAILED_VERIFICATION && !m_check.certificate().isEmpty())
        || (code == CURLE_SSL_CONNECT_ERROR && !m_check.problems().isEmpty());
    if (isRefused && !m_check.isProxys()) {
        pipe().putEnd(
            {QNetworkReply::SslHandshakeFailedError, wordsFor(code), m_check.problems(), m_check.certificate()});
        return;
    }
    const TransferErrors::Circumstances circumstances{int(get<long>(CURLINFO_HTTP_CONNECTCODE, 0)),
                                                      int(get<long>(CURLINFO_PROXY_ERROR, 0)), 0,
                                                      int(get<long>(CURLINFO_OS_ERRNO, 0)), !m_request.proxy.isEmpty()};
    const QNetworkReply::NetworkError error = TransferErrors::fromHttp(code, circumstances);
    if (TransferErrors::isProxys(error) || isRefused)
        endWithoutProxy(error, wordsFor(code));
    else
        end(error,
            TransferErrors::textFor(error, m_check.isProxys() ? m_request.proxy : m_request.url, wordsFor(code))
                + wayThere(error));
}

/// Who was between, in brackets; empty = nobody, or nobody who matters.
QString HttpTransfer::wayThere(QNetworkReply::NetworkError error) const
{
    const bool isOfNoMatter =
        m_request.proxy.isEmpty() || m_check.isProxys() || error == QNetworkReply::SslHandshakeFailedError;
    return isOfNoMatter ? QString() : u" (by way of "_s + ProxyChoice::nameOf(m_request.proxy) + u')';
}

void HttpTransfer::endCutShort(CURLcode code)
{
    tellHead();
    const QString received = QString::number(m_received);
    if (code == CURLE_OPERATION_TIMEDOUT)
        end(QNetworkReply::TimeoutError, u"Nothing more came for too long, after %1 bytes."_s.arg(received));
    else if (m_plan.length >= 0)
        end(QNetworkReply::RemoteHostClosedError,
            u"The connection was closed after %1 of %2 bytes."_s.arg(received, QString::number(m_plan.length)));
    else if (m_plan.end == BodyFraming::End::Chunked)
        end(QNetworkReply::RemoteHostClosedError,
            u"The connection was closed after %1 bytes, before the end of the answer."_s.arg(received));
    else
        end(QNetworkReply::RemoteHostClosedError, u"The connection broke off: %1."_s.arg(wordsFor(code)));
}

void HttpTransfer::endWithoutProxy(QNetworkReply::NetworkError error, const QString &words)
{
    const QString name = ProxyChoice::nameOf(m_request.proxy);
    const QByteArray challenges = m_proxyHead.values("Proxy-Authenticate").join(", ");
    if (error == QNetworkReply::SslHandshakeFailedError)
        end(error, SecurityWords::proxyCertificate(name.mid(name.indexOf(u'"')), words));
    else if (error == QNetworkReply::ProxyAuthenticationRequiredError)
        end(error,
            AuthChallenges::refusal(name, QString::fromUtf8(challenges), m_request.proxy.userName(QUrl::FullyDecoded)));
    else
        end(error, TransferErrors::textFor(error, m_request.url, words) + u" ("_s + name + u')');
}
