// SPDX-License-Identifier: MIT
#include <host/network/guardednetworkaccessmanager.h>

#include <host/network/guardedreply.h>
#include <host/network/sharedcookiejar.h>

#include <QNetworkReply>
#include <QNetworkRequest>
#include <QSslConfiguration>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

const QByteArray kAcceptEncoding = QByteArrayLiteral("Accept-Encoding");

bool isHttp(const QUrl &url)
{
    return url.scheme() == "http"_L1 || url.scheme() == "https"_L1;
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
    return !isHttp(url) && url.scheme() != "ftp"_L1;
}

}

GuardedNetworkAccessManager::GuardedNetworkAccessManager(QSharedPointer<SharedCookieJar> jar, QObject *parent)
    : QNetworkAccessManager(parent)
    , m_jar(jar)
{
    m_jar->serve(*this);
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

bool GuardedNetworkAccessManager::isTransferring() const
{
    return std::any_of(m_livingReplies.cbegin(), m_livingReplies.cend(),
                       [](const QNetworkReply *reply) { return reply->isRunning(); });
}

QNetworkReply *GuardedNetworkAccessManager::createRequest(Operation operation, const QNetworkRequest &request,
                                                          QIODevice *outgoingData)
{
    if (!isHttp(request.url())) {
        QNetworkReply *const reply = QNetworkAccessManager::createRequest(
            operation, isForeign(request.url()) ? refused(request) : request, outgoingData);
        watch(reply);
        return reply;
    }
    std::unique_ptr<QNetworkReply> inner(
        QNetworkAccessManager::createRequest(operation, completed(request), outgoingData));
    auto *const reply = new GuardedReply(std::move(inner), this);
    watch(reply);
    return reply;
}

QNetworkRequest GuardedNetworkAccessManager::completed(const QNetworkRequest &request) const
{
    QNetworkRequest result = request;
    if (!result.hasRawHeader(kAcceptEncoding))
        result.setRawHeader(kAcceptEncoding, QByteArrayLiteral("identity"));
    if (!m_caCertificates.isEmpty()) {
        QSslConfiguration configuration = result.sslConfiguration();
        configuration.setCaCertificates(m_caCertificates);
        result.setSslConfiguration(configuration);
    }
    return result;
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
