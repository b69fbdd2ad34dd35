// SPDX-License-Identifier: MIT
#include <inet/qt/download/downloadswww/wwwdownloader.h>

#include <inet/qt/download/framework/abstractnetworkaccesschief.h>
#include <inet/qt/download/framework/assertion.h>
#include <inet/qt/download/framework/runguard.h>
#include <inet/qt/download/records/clouddrivehosts.h>
#include <inet/qt/download/records/webschemes.h>

#include <QNetworkAccessManager>
#include <QNetworkCookie>
#include <QNetworkCookieJar>
#include <QNetworkRequest>
#include <QStringList>
#include <QTimer>

#include <utility>

using namespace Qt::StringLiterals;

namespace
{

/// Keeps a manager for as long as its parent lives. A slot's captures would not do: the network layer's thread may be
/// the one that clears a connection away.
class ManagerKeeper : public QObject
{
public:
    ManagerKeeper(QSharedPointer<QNetworkAccessManager> manager, QObject *parent)
        : QObject(parent)
        , m_manager(std::move(manager))
    {
    }

private:
    const QSharedPointer<QNetworkAccessManager> m_manager;
};

constexpr auto kFormContentType = "application/x-www-form-urlencoded"_L1;

bool isPost(const WwwDownloadSourceInfo &source)
{
    return !source.postData.isEmpty() && !WwwDownloader::isPostDataInvalid(source);
}

QString requestLine(const WwwDownloadSourceInfo &source)
{
    QString line = (isPost(source) ? "POST "_L1 : "GET "_L1) + source.url.path(QUrl::FullyDecoded);
    if (source.url.hasQuery())
        line += '?'_L1 + source.url.query(QUrl::FullyEncoded);
    return line + " HTTP/1.1"_L1;
}

QString cookiesText(const QList<QNetworkCookie> &cookies)
{
    QStringList texts;
    for (const QNetworkCookie &cookie : cookies)
        texts.append(QString::fromUtf8(cookie.name()) + '='_L1 + QString::fromUtf8(cookie.value()));
    return texts.join("; "_L1);
}

/// The folder of the resource, as if its listing were the page that links to it.
QUrl folderOf(QUrl url)
{
    url.setQuery(QString());
    url.setFragment(QString());
    const QString path = url.path(QUrl::FullyDecoded);
    if (const qsizetype slash = path.lastIndexOf('/'_L1); slash >= 0)
        url.setPath(path.left(slash + 1), QUrl::DecodedMode);
    return url;
}

/// A header of the request, and the same in words.
void addHeader(QNetworkRequest &request, QList<QString> &headers, const QString &name, const QByteArray &value,
               const QString &text)
{
    request.setRawHeader(name.toUtf8(), value);
    headers.append(name + ": "_L1 + text);
}

void addUserAgent(QNetworkRequest &request, QList<QString> &headers, const QString &userAgent)
{
    if (userAgent.isEmpty())
        return;
    request.setHeader(QNetworkRequest::UserAgentHeader, userAgent);
    headers.append("User-Agent: "_L1 + userAgent);
}

void addReferer(QNetworkRequest &request, QList<QString> &headers, const QUrl &url)
{
    addHeader(request, headers, u"Referer"_s, url.toString(QUrl::FullyEncoded).toUtf8(), url.toString());
}

void addReferer(QNetworkRequest &request, QList<QString> &headers, const WwwDownloadSourceInfo &source)
{
    if (!source.referer.isEmpty())
        addHeader(request, headers, u"Referer"_s, source.referer.toUtf8(), source.referer);
    else if (WebSchemes::isOneOf(source.webPageUrl))
        addReferer(request, headers, source.webPageUrl);
    else if (!(source.flags & WwwDownloadSourceInfo::NoSynthesisedReferer))
        addReferer(request, headers, folderOf(source.url));
}

void addRange(QNetworkRequest &request, QList<QString> &headers, qint64 start)
{
    if (start == 0)
        return;
    // Open-ended: a section may get longer or shorter while its transfer runs.
    const QString range = u"bytes=%1-"_s.arg(start);
    addHeader(request, headers, u"Range"_s, range.toLatin1(), range);
}

/// The host's way to give bytes away without copying them; invalid where its replies have none.
QMetaMethod takeBlockOf(const QNetworkReply &reply)
{
    const QMetaObject *const type = reply.metaObject();
    const QMetaMethod method = type->method(type->indexOfMethod("takeBlock(qint64)"));
    return method.returnMetaType() == QMetaType::fromType<QByteArray>() ? method : QMetaMethod();
}

void addContentType(QNetworkRequest &request, QList<QString> &headers)
{
    request.setHeader(QNetworkRequest::ContentTypeHeader, kFormContentType);
    headers.append("Content-Type: "_L1 + kFormContentType);
}

}

bool WwwDownloader::isPostDataInvalid(const WwwDownloadSourceInfo &source)
{
    return source.postData == "&"
        && (source.url.host(QUrl::FullyDecoded).endsWith(CloudDriveHosts::kContentHostSuffix)
            || source.webPageUrl.host(QUrl::FullyDecoded) == CloudDriveHosts::kFrontEndHost);
}

void WwwDownloader::startRequest(const WwwDownloadSourceInfo &source, const QString &userAgent)
{
    m_currentUrl = source.url;
    m_manager = m_chief->takeManager(source.url);
    const RunGuard guard(this, m_runsEnded);
    announceConnection();
    if (!guard)
        return;

    installCookies(source);
    QList<QString> headers{requestLine(source), "Host: "_L1 + source.url.host(QUrl::FullyDecoded)};
    const QNetworkRequest request = constructRequest(source, userAgent, headers);
    if (const QString cookies = cookiesText(m_manager->cookieJar()->cookiesForUrl(request.url())); !cookies.isEmpty())
        headers.append("Cookie: "_L1 + cookies);
    Q_EMIT requestHeaders(headers);
    if (guard)
        send(request, source);
}

QNetworkRequest WwwDownloader::constructRequest(const WwwDownloadSourceInfo &source, const QString &userAgent,
                                                QList<QString> &headers) const
{
    QNetworkRequest request(source.url);
    request.setAttribute(QNetworkRequest::Http2AllowedAttribute, false);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    addUserAgent(request, headers, userAgent.isEmpty() ? m_networkSettings.userAgent : userAgent);
    addReferer(request, headers, source);
    if (m_networkSettings.bypassCache) {
        request.setAttribute(QNetworkRequest::CacheLoadControlAttribute, QNetworkRequest::AlwaysNetwork);
        request.setAttribute(QNetworkRequest::CacheSaveControlAttribute, false);
    }
    addRange(request, headers, source.sectionOffset + source.sectionDownloaded);

    const QVariantMap custom = source.parameters.value(u"headers"_s).toMap();
    if (isPost(source) && !custom.contains(u"Content-Type"_s))
        addContentType(request, headers);
    for (auto it = custom.cbegin(); it != custom.cend(); ++it)
        addHeader(request, headers, it.key(), it->toString().toUtf8(), it->toString());
    return request;
}

void WwwDownloader::announceConnection()
{
    m_connectionsMap[hostAndPortFromUrl(m_currentUrl)].count = 1;
    // A receiver may stop the transfer, which empties the map; those that come after it are told the same.
    const QtConnectionsMap announced = m_connectionsMap;
    Q_EMIT connectionsMapChangedDelta(announced);
}

void WwwDownloader::installCookies(const WwwDownloadSourceInfo &source)
{
    QNetworkCookieJar *const cjar = m_manager->cookieJar();
    for (QNetworkCookie cookie : source.cookies) {
        if (cookie.domain().isEmpty())
            cookie.setDomain(source.url.host(QUrl::FullyDecoded));
        // Servers and people can give cookies that no jar takes.
        if (!cjar->insertCookie(cookie))
            Assertion::report("cjar->insertCookie(cookie)");
    }
}

void WwwDownloader::send(const QNetworkRequest &request, const WwwDownloadSourceInfo &source)
{
    m_reply.reset(isPost(source) ? m_manager->post(request, source.postData) : m_manager->get(request));
    m_takeBlock = takeBlockOf(*m_reply);
    m_bodyBytes = 0;
    // The first burst is larger than this if it is only told once the head has come.
    applyReadBufferSize();
    m_inactivityTimer->start();
    connectReply();
}

void WwwDownloader::connectReply()
{
    connect(m_reply.get(), &QNetworkReply::sslErrors, this, &WwwDownloader::onSslErrors);
    connect(m_reply.get(), &QNetworkReply::readyRead, this, &WwwDownloader::onReadyRead);
    connect(m_reply.get(), &QNetworkReply::finished, this, &WwwDownloader::onFinished);
    connect(m_reply.get(), &QNetworkReply::metaDataChanged, this, &WwwDownloader::onMetaDataChanged);
    connect(m_reply.get(), &QNetworkReply::errorOccurred, this, &WwwDownloader::onError);
}

/// Lets the reply go, which leaves its manager: returned to the chief, that may be gone before the reply is.
void WwwDownloader::releaseReply()
{
    m_readTimer->stop();
    if (!m_reply)
        return;
    // Behind an error comes finished, which by then could be taken for the end of the next run.
    m_reply->disconnect(this);
    // The same signal goes to the manager, unguarded against its death, so the manager lives as long as the reply.
    new ManagerKeeper(m_manager, m_reply.get());
    m_reply.reset();
}

void WwwDownloader::abortReply()
{
    if (m_reply) {
        m_reply->disconnect(this);
        m_reply->abort();
    }
    releaseReply();
}

void WwwDownloader::releaseNam()
{
    if (!m_manager)
        return;
    QtConnectionsMap connections = std::exchange(m_connectionsMap, {});
    m_chief->returnManager(std::exchange(m_manager, {}), std::exchange(m_currentUrl, {}));
    invert(connections);
    Q_EMIT connectionsMapChangedDelta(connections);
}
