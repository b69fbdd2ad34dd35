// SPDX-License-Identifier: MIT
#include <host/network/guardedreply.h>

#include <host/policy/bodylength.h>
#include <host/policy/partialanswer.h>
#include <host/policy/urlcredentials.h>

#include <QPointer>
#include <QSslConfiguration>
#include <QSslError>
#include <QSslPreSharedKeyAuthenticator>

#include <algorithm>

namespace
{

constexpr int kPartialContent = 206;
const QByteArray kLocation = QByteArrayLiteral("Location");

}

GuardedReply::GuardedReply(std::unique_ptr<QNetworkReply> inner, QObject *parent)
    : QNetworkReply(parent)
    , m_inner(std::move(inner))
{
    // A dying manager deletes every reply below it, one by one: a reply below a reply would be deleted twice.
    m_inner->setParent(nullptr);
    setOperation(m_inner->operation());
    setRequest(m_inner->request());
    setUrl(m_inner->url());
    relaySignals();
    open(QIODevice::ReadOnly | QIODevice::Unbuffered);
    if (m_inner->isFinished()) {
        takeHead();
        setError(m_inner->error(), m_inner->errorString());
        setFinished(true);
    }
}

GuardedReply::~GuardedReply()
{
    m_inner->disconnect(this);
}

void GuardedReply::close()
{
    m_inner->close();
    QNetworkReply::close();
}

qint64 GuardedReply::bytesAvailable() const
{
    return m_refused ? 0 : QNetworkReply::bytesAvailable() + m_inner->bytesAvailable();
}

void GuardedReply::setReadBufferSize(qint64 size)
{
    QNetworkReply::setReadBufferSize(size);
    m_inner->setReadBufferSize(size);
}

void GuardedReply::abort()
{
    if (!isFinished())
        m_inner->abort();
}

void GuardedReply::ignoreSslErrors()
{
    m_inner->ignoreSslErrors();
}

qint64 GuardedReply::readData(char *data, qint64 maxSize)
{
    if (m_refused)
        return -1;
    const qint64 count = m_inner->read(data, maxSize);
    m_bytesRead += std::max<qint64>(0, count);
    return count;
}

void GuardedReply::sslConfigurationImplementation(QSslConfiguration &configuration) const
{
    configuration = m_inner->sslConfiguration();
}

void GuardedReply::setSslConfigurationImplementation(const QSslConfiguration &configuration)
{
    m_inner->setSslConfiguration(configuration);
}

void GuardedReply::ignoreSslErrorsImplementation(const QList<QSslError> &errors)
{
    m_inner->ignoreSslErrors(errors);
}

void GuardedReply::onMetaDataChanged()
{
    const QString reason = refusal();
    if (!reason.isEmpty()) {
        refuse(reason);
        return;
    }
    takeHead();
    Q_EMIT metaDataChanged();
}

void GuardedReply::onErrorOccurred(QNetworkReply::NetworkError code)
{
    takeAttributes();
    setError(code, m_inner->errorString());
    Q_EMIT errorOccurred(code);
}

void GuardedReply::onFinished()
{
    takeAttributes();
    const QString reason = complaint();
    if (!reason.isEmpty()) {
        endWith(RemoteHostClosedError, reason);
        return;
    }
    setFinished(true);
    Q_EMIT finished();
}

void GuardedReply::relaySignals()
{
    QNetworkReply *const inner = m_inner.get();
    connect(inner, &QNetworkReply::metaDataChanged, this, &GuardedReply::onMetaDataChanged);
    connect(inner, &QNetworkReply::errorOccurred, this, &GuardedReply::onErrorOccurred);
    connect(inner, &QNetworkReply::finished, this, &GuardedReply::onFinished);
    connect(inner, &QIODevice::readyRead, this, &QIODevice::readyRead);
    connect(inner, &QIODevice::readChannelFinished, this, &QIODevice::readChannelFinished);
    connect(inner, &QNetworkReply::sslErrors, this, &QNetworkReply::sslErrors);
    connect(inner, &QNetworkReply::encrypted, this, &QNetworkReply::encrypted);
    connect(inner, &QNetworkReply::preSharedKeyAuthenticationRequired, this,
            &QNetworkReply::preSharedKeyAuthenticationRequired);
    connect(inner, &QNetworkReply::redirected, this, &QNetworkReply::redirected);
    connect(this, &QNetworkReply::redirectAllowed, inner, &QNetworkReply::redirectAllowed);
    connect(inner, &QNetworkReply::uploadProgress, this, &QNetworkReply::uploadProgress);
    connect(inner, &QNetworkReply::downloadProgress, this, &QNetworkReply::downloadProgress);
    connect(inner, &QNetworkReply::socketStartedConnecting, this, &QNetworkReply::socketStartedConnecting);
    connect(inner, &QNetworkReply::requestSent, this, &QNetworkReply::requestSent);
}

QString GuardedReply::refusal() const
{
    if (m_inner->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt() != kPartialContent)
        return {};
    return PartialAnswer::refusal(request().rawHeader("Range"), m_inner->rawHeader("Content-Range"));
}

QString GuardedReply::complaint() const
{
    if (error() != NoError || operation() == QNetworkAccessManager::HeadOperation)
        return {};
    const BodyLength::Head head{m_inner->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt(),
                                m_inner->rawHeader("Content-Length"), m_inner->rawHeader("Transfer-Encoding")};
    return BodyLength::complaint(head, m_bytesRead + m_inner->bytesAvailable());
}

void GuardedReply::refuse(const QString &reason)
{
    m_refused = true;
    m_inner->disconnect(this);
    m_inner->abort();
    endWith(ProtocolFailure, reason);
}

void GuardedReply::endWith(NetworkError code, const QString &text)
{
    setError(code, text);
    const QPointer<GuardedReply> self(this);
    Q_EMIT errorOccurred(code);
    if (!self)
        return;
    setFinished(true);
    Q_EMIT finished();
}

void GuardedReply::takeHead()
{
    setUrl(m_inner->url());
    takeRawHeaders();
    takeAttributes();
    if (hasRawHeader(kLocation))
        hideRedirectLogin();
}

void GuardedReply::hideRedirectLogin()
{
    const QUrl target = url().resolved(QUrl::fromEncoded(rawHeader(kLocation)));
    if (target.userInfo().isEmpty())
        return;
    setRawHeader(kLocation, UrlCredentials::split(target).url.toEncoded());
    Q_EMIT redirectedWithLogin(target);
}

void GuardedReply::takeAttributes()
{
    for (int code = QNetworkRequest::HttpStatusCodeAttribute; code <= QNetworkRequest::Http2CleartextAllowedAttribute;
         ++code) {
        const auto attribute = QNetworkRequest::Attribute(code);
        setAttribute(attribute, m_inner->attribute(attribute));
    }
    const QUrl target = m_inner->attribute(QNetworkRequest::RedirectionTargetAttribute).toUrl();
    if (!target.userInfo().isEmpty())
        setAttribute(QNetworkRequest::RedirectionTargetAttribute, UrlCredentials::split(target).url);
}

void GuardedReply::takeRawHeaders()
{
    const QList<QByteArray> before = rawHeaderList();
    for (const QByteArray &name : before)
        setRawHeader(name, QByteArray());
    for (const RawHeaderPair &header : m_inner->rawHeaderPairs())
        setRawHeader(header.first, header.second);
}
