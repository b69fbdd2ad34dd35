// SPDX-License-Identifier: MIT
#include <tests/support/fakereply.h>

#include <algorithm>
#include <cstring>

FakeReply::FakeReply(QNetworkAccessManager::Operation operation, const QNetworkRequest &request, const QByteArray &body,
                     QObject *parent)
    : QNetworkReply(parent)
    , m_postedBody(body)
{
    setOperation(operation);
    setRequest(request);
    setUrl(request.url());
    open(QIODevice::ReadOnly);
}

QByteArray FakeReply::postedBody() const
{
    return m_postedBody;
}

bool FakeReply::wasAborted() const
{
    return m_wasAborted;
}

int FakeReply::ignoredSslErrors() const
{
    return m_ignoredSslErrors;
}

QList<qint64> FakeReply::readBufferSizes() const
{
    return m_readBufferSizes;
}

void FakeReply::setHead(int status, const QByteArray &reason, const QList<RawHeaderPair> &headers)
{
    if (status > 0) {
        setAttribute(QNetworkRequest::HttpStatusCodeAttribute, status);
        setAttribute(QNetworkRequest::HttpReasonPhraseAttribute, reason);
    }
    for (const auto &[name, value] : headers)
        setRawHeader(name, value);
    if (status >= 301 && status <= 308)
        setRedirectTarget(QUrl(QString::fromUtf8(rawHeader("Location"))));
}

void FakeReply::setRedirectTarget(const QUrl &target)
{
    setAttribute(QNetworkRequest::RedirectionTargetAttribute, target);
}

void FakeReply::setFailure(NetworkError error, const QString &text)
{
    setError(error, text);
}

void FakeReply::sendHead(int status, const QByteArray &reason, const QList<RawHeaderPair> &headers)
{
    setHead(status, reason, headers);
    Q_EMIT metaDataChanged();
}

void FakeReply::sendRedirect(const QByteArray &location, int status)
{
    sendHead(status, QByteArrayLiteral("Found"), {{QByteArrayLiteral("Location"), location}});
}

void FakeReply::sendData(const QByteArray &data)
{
    addData(data);
    Q_EMIT readyRead();
}

void FakeReply::addData(const QByteArray &data)
{
    m_data.append(data);
}

void FakeReply::sendSslErrors(const QList<QSslError> &errors)
{
    Q_EMIT sslErrors(errors);
}

void FakeReply::end(NetworkError error, const QString &text)
{
    if (isFinished())
        return;
    setFinished(true);
    if (error != NoError) {
        setError(error, text);
        Q_EMIT errorOccurred(error);
    }
    Q_EMIT finished();
}

qint64 FakeReply::bytesAvailable() const
{
    return QNetworkReply::bytesAvailable() + m_data.size();
}

bool FakeReply::isSequential() const
{
    return true;
}

void FakeReply::abort()
{
    m_wasAborted = true;
    end(OperationCanceledError, QStringLiteral("Operation canceled"));
}

void FakeReply::setReadBufferSize(qint64 size)
{
    m_readBufferSizes.append(size);
    QNetworkReply::setReadBufferSize(size);
}

void FakeReply::ignoreSslErrors()
{
    ++m_ignoredSslErrors;
}

qint64 FakeReply::readData(char *data, qint64 maxSize)
{
    const qint64 size = std::min<qint64>(maxSize, m_data.size());
    // Of nothing there is no address to copy from.
    if (size > 0)
        std::memcpy(data, m_data.constData(), size_t(size));
    m_data.remove(0, size);
    return size;
}
