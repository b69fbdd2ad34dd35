// SPDX-License-Identifier: MIT
#include <host/network/transfermanager.h>

#include <host/network/credentialstore.h>
#include <host/network/ftptransfer.h>
#include <host/network/resourceguard.h>
#include <host/network/sharedcookiejar.h>
#include <host/network/transferhub.h>
#include <host/network/transferreply.h>
#include <host/parsing/partialanswer.h>
#include <host/parsing/urlcredentials.h>
#include <host/policy/harmlessheaders.h>
#include <host/policy/schemes.h>

#include <QIODevice>
#include <QNetworkCookie>
#include <QNetworkRequest>

#include <utility>

using namespace Qt::StringLiterals;

namespace
{

const QByteArray kAcceptEncoding = QByteArrayLiteral("Accept-Encoding");
const QByteArray kProxyAuthorization = QByteArrayLiteral("Proxy-Authorization");
const QByteArray kCookie = QByteArrayLiteral("Cookie");
const QByteArray kReferer = QByteArrayLiteral("Referer");
const QByteArray kRange = QByteArrayLiteral("Range");

/// Of its own accord the module sends harmless ones and this one.
bool mayStay(const QByteArray &name)
{
    return HarmlessHeaders::isHarmless(QString::fromLatin1(name)) || name.compare(kRange, Qt::CaseInsensitive) == 0;
}

bool isManual(const QNetworkRequest &request, QNetworkRequest::Attribute attribute)
{
    return request.attribute(attribute).toInt() == QNetworkRequest::Manual;
}

}

TransferManager::TransferManager(std::shared_ptr<TransferHub> hub, std::shared_ptr<ResourceGuard> guard,
                                 QObject *parent)
    : QNetworkAccessManager(parent)
    , m_hub(std::move(hub))
    , m_guard(std::move(guard))
{
    m_hub->jar().serve(*this);
}

TransferManager::~TransferManager() = default;

QList<TransferStatus> TransferManager::transfers() const
{
    QList<TransferStatus> transfers;
    const auto replies = findChildren<TransferReply *>(QString(), Qt::FindDirectChildrenOnly);
    for (const TransferReply *const reply : replies) {
        if (const std::optional<TransferStatus> status = reply->status())
            transfers.append(*status);
    }
    return transfers;
}

QNetworkReply *TransferManager::createRequest(Operation operation, const QNetworkRequest &request,
                                              QIODevice *outgoingData)
{
    const QUrl url = request.url();
    // A redirect may name any scheme; one that reads local files would hand them out as if they came from the network.
    if (!Schemes::isHttp(url) && !Schemes::isFtp(url))
        return refuse(operation, request, QNetworkReply::ProtocolUnknownError,
                      u"The server sends on to \"%1\", and nothing is fetched from such an address"_s.arg(
                          url.toDisplayString(QUrl::RemoveUserInfo)));
    const bool isServed = operation == GetOperation || (operation == PostOperation && Schemes::isHttp(url));
    if (!isServed)
        return refuse(operation, request, QNetworkReply::ProtocolInvalidOperationError,
                      u"Nothing but GET and POST is served"_s);
    if (Schemes::isHttp(url))
        return send(operation, request, overHttp(operation, request, outgoingData));
    const TransferRequest asked = overFtp(request);
    if (const QString reason = FtpTransfer::refusal(asked); !reason.isEmpty())
        return refuse(operation, request, QNetworkReply::ContentOperationNotPermittedError, reason);
    return send(operation, request, asked);
}

QNetworkReply *TransferManager::refuse(Operation operation, const QNetworkRequest &request,
                                       QNetworkReply::NetworkError error, const QString &text)
{
    return new TransferReply(operation, request, error, text, this);
}

/// The reply shows the request as its maker wrote it, less what is not to be seen.
QNetworkReply *TransferManager::send(Operation operation, const QNetworkRequest &original,
                                     const TransferRequest &request)
{
    QNetworkRequest shown = original;
    shown.setUrl(request.url);
    TransferReply::Way way{m_guard, {}, m_guard ? m_hub->gate() : nullptr};
    if (m_guard)
        way.path = m_guard->pathTo(request.url, PartialAnswer::askedStart(request.range).value_or(0) > 0);
    TransferRequest ready = request;
    if (m_guard && !request.isPost && Schemes::isHttp(request.url))
        ready.headers += m_guard->conditionsOf(way.path);
    if (const QUrl target = m_guard && !request.isPost ? m_guard->ledTo(way.path) : QUrl(); !target.isEmpty())
        return new TransferReply(shown, way, target, this);
    auto *const reply = new TransferReply(request.isPost ? operation : GetOperation, shown, ready, way, m_hub->means(),
                                          m_hub->loopFor(request.url), this);
    connect(reply, &TransferReply::redirectedWithLogin, this,
            [this](const QUrl &url) { m_hub->credentials().addRedirectLogin(url); });
    return reply;
}

TransferRequest TransferManager::overHttp(Operation operation, const QNetworkRequest &request,
                                          QIODevice *outgoingData) const
{
    QNetworkRequest ready = completed(request);
    const bool isPost = operation == PostOperation && m_hub->credentials().mayGetBody(ready.url());
    if (!isPost)
        ready.setHeader(QNetworkRequest::ContentTypeHeader, QVariant());
    TransferRequest result;
    result.url = ready.url();
    result.isPost = isPost;
    const QList<QByteArray> names = ready.rawHeaderList();
    for (const QByteArray &name : names)
        result.headers.append({name, ready.rawHeader(name)});
    result.range = ready.rawHeader(kRange);
    if (isPost && outgoingData)
        result.body = outgoingData->readAll();
    result.login = m_hub->credentials().loginFor(result.url);
    result.proxy = m_hub->proxyFor(result.url);
    result.authorities = m_hub->authorities();
    result.path = m_hub->path();
    return result;
}

TransferRequest TransferManager::overFtp(const QNetworkRequest &request) const
{
    const auto [url, ownLogin] = UrlCredentials::split(request.url());
    TransferRequest result;
    result.url = url;
    result.range = request.rawHeader(kRange);
    result.login = ownLogin.isEmpty() ? m_hub->credentials().loginFor(url) : ownLogin;
    result.proxy = m_hub->proxyFor(url);
    result.path = m_hub->path();
    return result;
}

QNetworkRequest TransferManager::completed(const QNetworkRequest &request) const
{
    QNetworkRequest result = withoutSecrets(request);
    addSecrets(result);
    addCookies(result);
    if (!result.hasRawHeader(kAcceptEncoding))
        result.setRawHeader(kAcceptEncoding, QByteArrayLiteral("identity"));
    return result;
}

QNetworkRequest TransferManager::withoutSecrets(QNetworkRequest request) const
{
    const QUrl url = request.url();
    if (!url.userInfo().isEmpty()) {
        m_hub->credentials().addRedirectLogin(url);
        request.setUrl(UrlCredentials::split(url).url);
    }
    const QList<QByteArray> names = request.rawHeaderList();
    for (const QByteArray &name : names) {
        if (!mayStay(name))
            request.setRawHeader(name, QByteArray());
    }
    if (request.hasRawHeader(kReferer))
        request.setRawHeader(kReferer, UrlCredentials::withoutLogin(request.rawHeader(kReferer)));
    return request;
}

void TransferManager::addSecrets(QNetworkRequest &request) const
{
    const QList<SecretHeader> kept = m_guard ? m_guard->keptHeaders() : QList<SecretHeader>();
    for (const auto &[name, value] : m_hub->credentials().headersFor(request.url(), kept)) {
        if (name.compare(kProxyAuthorization, Qt::CaseInsensitive) != 0 || isReadByProxy(request.url()))
            request.setRawHeader(name, value);
    }
}

/// Those of the jar, behind those that were given.
void TransferManager::addCookies(QNetworkRequest &request) const
{
    if (isManual(request, QNetworkRequest::CookieLoadControlAttribute))
        return;
    QByteArrayList texts;
    if (const QByteArray given = request.rawHeader(kCookie); !given.isEmpty())
        texts.append(given);
    const QList<QNetworkCookie> cookies = m_hub->jar().cookiesForUrl(request.url());
    for (const QNetworkCookie &cookie : cookies)
        texts.append(cookie.toRawForm(QNetworkCookie::NameAndValueOnly));
    if (!texts.isEmpty())
        request.setRawHeader(kCookie, texts.join("; "));
}

/// Whether the head of a request goes to a proxy, and not through it to the server.
bool TransferManager::isReadByProxy(const QUrl &url) const
{
    return Schemes::isPlainHttp(url) && Schemes::isHttp(m_hub->proxyFor(url));
}
