// SPDX-License-Identifier: MIT
#include <host/network/guardednetworkaccessmanager.h>

#include <host/network/credentialstore.h>
#include <host/network/ftploop.h>
#include <host/network/ftpreply.h>
#include <host/network/guardedreply.h>
#include <host/network/proxyrule.h>
#include <host/network/sharedcookiejar.h>
#include <host/policy/secretheaders.h>
#include <host/policy/urlcredentials.h>

#include <QAuthenticator>
#include <QNetworkCookie>
#include <QNetworkProxyFactory>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QSslConfiguration>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

const QByteArray kAcceptEncoding = QByteArrayLiteral("Accept-Encoding");
const QByteArray kAuthorization = QByteArrayLiteral("Authorization");
const QByteArray kProxyAuthorization = QByteArrayLiteral("Proxy-Authorization");
const QByteArray kCookie = QByteArrayLiteral("Cookie");
const QByteArray kReferer = QByteArrayLiteral("Referer");
constexpr const char *kAnswered = "plaitAnswered";

bool isHttp(const QUrl &url)
{
    return url.scheme() == "http"_L1 || url.scheme() == "https"_L1;
}

bool isFtp(const QUrl &url)
{
    return url.scheme() == "ftp"_L1;
}

/// A redirect may name any scheme; one that reads local files would hand them out as if they came from the network. The
/// base class answers a scheme that it does not know with an error that names it.
QNetworkRequest refused(QNetworkRequest request)
{
    QUrl url = request.url();
    url.setScheme("refused-"_L1 + url.scheme());
    request.setUrl(url);
    return request;
}

bool isForeign(const QUrl &url)
{
    return !isHttp(url) && !isFtp(url);
}

}

GuardedNetworkAccessManager::GuardedNetworkAccessManager(QSharedPointer<SharedCookieJar> jar, QObject *parent)
    : QNetworkAccessManager(parent)
    , m_jar(jar)
    , m_credentials(QSharedPointer<CredentialStore>::create())
{
    m_jar->serve(*this);
    setProxyFactory(new ProxyRule({}));
    connect(this, &QNetworkAccessManager::authenticationRequired, this,
            &GuardedNetworkAccessManager::onAuthenticationRequired);
}

GuardedNetworkAccessManager::~GuardedNetworkAccessManager()
{
    // The base class deletes what is left of the replies; this object can no longer hear of it then.
    for (QNetworkReply *reply : std::as_const(m_livingReplies))
        reply->disconnect(this);
}

void GuardedNetworkAccessManager::setCaCertificates(const QList<QSslCertificate> &certificates)
{
    m_caCertificates = certificates;
}

void GuardedNetworkAccessManager::setProxySettings(const ProxyChoice::Settings &settings)
{
    m_proxySettings = settings;
    setProxyFactory(new ProxyRule(settings));
}

bool GuardedNetworkAccessManager::isTransferring() const
{
    return std::any_of(m_livingReplies.cbegin(), m_livingReplies.cend(),
                       [](const QNetworkReply *reply) { return reply->isRunning(); });
}

QNetworkReply *GuardedNetworkAccessManager::createRequest(Operation operation, const QNetworkRequest &request,
                                                          QIODevice *outgoingData)
{
    if (operation == GetOperation && isFtp(request.url())) {
        QNetworkReply *const reply = getByFtp(request);
        watch(reply);
        return reply;
    }
    if (!isHttp(request.url())) {
        QNetworkReply *const reply = QNetworkAccessManager::createRequest(
            operation, isForeign(request.url()) ? refused(request) : request, outgoingData);
        watch(reply);
        return reply;
    }
    QNetworkRequest ready = completed(request);
    if (operation == PostOperation && !m_credentials->mayGetBody(ready.url())) {
        operation = GetOperation;
        outgoingData = nullptr;
        ready.setHeader(QNetworkRequest::ContentTypeHeader, QVariant());
    }
    std::unique_ptr<QNetworkReply> inner(QNetworkAccessManager::createRequest(operation, ready, outgoingData));
    auto *const reply = new GuardedReply(std::move(inner), this);
    connect(reply, &GuardedReply::redirectedWithLogin, this,
            [this](const QUrl &url) { m_credentials->addRedirectLogin(url); });
    watch(reply);
    return reply;
}

QNetworkReply *GuardedNetworkAccessManager::getByFtp(QNetworkRequest request)
{
    const auto [url, ownLogin] = UrlCredentials::split(request.url());
    const Login login = ownLogin.isEmpty() ? m_credentials->loginFor(url) : ownLogin;
    const QNetworkProxy proxy = proxyFactory()->queryProxy(QNetworkProxyQuery(url)).constFirst();
    request.setUrl(url);
    if (!m_ftpLoop)
        m_ftpLoop = FtpLoop::create();
    return new FtpReply(request, login, proxy, m_ftpLoop, this);
}

void GuardedNetworkAccessManager::onAuthenticationRequired(QNetworkReply *reply, QAuthenticator *authenticator)
{
    // Asked again, the server did not like the first answer. A header of the request was an answer, too.
    if (reply->property(kAnswered).toBool() || reply->request().hasRawHeader(kAuthorization))
        return;
    const Login login = m_credentials->loginFor(reply->url());
    if (login.isEmpty())
        return;
    reply->setProperty(kAnswered, true);
    authenticator->setUser(ProxyRule::wireText(login.user));
    authenticator->setPassword(ProxyRule::wireText(login.password));
}

QNetworkRequest GuardedNetworkAccessManager::completed(const QNetworkRequest &request) const
{
    QNetworkRequest result = withoutSecrets(request);
    addSecrets(result);
    if (!result.hasRawHeader(kAcceptEncoding))
        result.setRawHeader(kAcceptEncoding, QByteArrayLiteral("identity"));
    if (!m_caCertificates.isEmpty()) {
        QSslConfiguration configuration = result.sslConfiguration();
        configuration.setCaCertificates(m_caCertificates);
        result.setSslConfiguration(configuration);
    }
    return result;
}

QNetworkRequest GuardedNetworkAccessManager::withoutSecrets(QNetworkRequest request) const
{
    const QUrl url = request.url();
    if (!url.userInfo().isEmpty()) {
        m_credentials->addRedirectLogin(url);
        request.setUrl(UrlCredentials::split(url).url);
    }
    const QList<QByteArray> names = request.rawHeaderList();
    for (const QByteArray &name : names) {
        if (SecretHeaders::isSecret(QString::fromLatin1(name)))
            request.setRawHeader(name, QByteArray());
    }
    if (request.hasRawHeader(kReferer))
        request.setRawHeader(kReferer, UrlCredentials::withoutLogin(request.rawHeader(kReferer)));
    return request;
}

void GuardedNetworkAccessManager::addSecrets(QNetworkRequest &request) const
{
    const QList<CredentialStore::Header> headers = m_credentials->headersFor(request.url());
    for (const auto &[name, value] : headers) {
        if (name.compare(kCookie, Qt::CaseInsensitive) == 0)
            addCookies(request, value);
        else if (name.compare(kProxyAuthorization, Qt::CaseInsensitive) != 0 || isReadByProxy(request.url()))
            request.setRawHeader(name, value);
    }
    if (!headers.isEmpty() || !m_credentials->loginFor(request.url()).isEmpty())
        request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
}

/// The base class would put the jar's cookies in the place of those that were given.
void GuardedNetworkAccessManager::addCookies(QNetworkRequest &request, const QByteArray &given) const
{
    QByteArray text = given;
    const QList<QNetworkCookie> cookies = m_jar->cookiesForUrl(request.url());
    for (const QNetworkCookie &cookie : cookies)
        text += "; " + cookie.toRawForm(QNetworkCookie::NameAndValueOnly);
    request.setRawHeader(kCookie, text);
    request.setAttribute(QNetworkRequest::CookieLoadControlAttribute, QNetworkRequest::Manual);
}

/// Whether the head of a request goes to a proxy, and not through it to the server.
bool GuardedNetworkAccessManager::isReadByProxy(const QUrl &url) const
{
    return url.scheme() == "http"_L1 && ProxyChoice::forUrl(url, m_proxySettings).scheme() == "http"_L1;
}

void GuardedNetworkAccessManager::watch(QNetworkReply *reply)
{
    m_livingReplies.append(reply);
    connect(reply, &QObject::destroyed, this, [this, reply] {
        m_livingReplies.removeOne(reply);
        if (m_livingReplies.isEmpty())
            Q_EMIT lastReplyGone();
    });
}
