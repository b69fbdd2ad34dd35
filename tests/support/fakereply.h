// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QList>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QSslError>
#include <QUrl>

/// A reply that comes from a test, in exactly the steps that the test takes: head, chunks, end.
///
/// Signals go out inside the call that makes them, in the order in which the network layer sends them.
class FakeReply : public QNetworkReply
{
    Q_OBJECT

public:
    /// `body` is what was posted; it becomes a child of the manager that answers with it, as any reply.
    FakeReply(QNetworkAccessManager::Operation operation, const QNetworkRequest &request, const QByteArray &body,
              QObject *parent);

    /// What was posted.
    QByteArray postedBody() const;
    bool wasAborted() const;
    /// How often it was told to go on in spite of its SSL errors.
    int ignoredSslErrors() const;
    /// Every size that the read buffer was given.
    QList<qint64> readBufferSizes() const;

    /// The head, without telling. A redirect status with a Location has its target.
    void setHead(int status, const QByteArray &reason, const QList<RawHeaderPair> &headers);
    /// The target that the network layer gives to a redirect answer, whatever its headers.
    void setRedirectTarget(const QUrl &target);
    void setFailure(NetworkError error, const QString &text);

    void sendHead(int status, const QByteArray &reason = QByteArrayLiteral("OK"),
                  const QList<RawHeaderPair> &headers = {});
    void sendRedirect(const QByteArray &location, int status = 302);
    void sendData(const QByteArray &data);
    /// More data without a signal, as when it joins data that lies unread.
    void addData(const QByteArray &data);
    void sendSslErrors(const QList<QSslError> &errors);
    /// The end, with errorOccurred before it if there is an error.
    void end(NetworkError error = NoError, const QString &text = {});

    qint64 bytesAvailable() const override;
    bool isSequential() const override;
    void abort() override;
    void setReadBufferSize(qint64 size) override;
    void ignoreSslErrors() override;

protected:
    qint64 readData(char *data, qint64 maxSize) override;

private:
    const QByteArray m_postedBody;
    QByteArray m_data;
    QList<qint64> m_readBufferSizes;
    bool m_wasAborted = false;
    int m_ignoredSslErrors = 0;

    Q_DISABLE_COPY_MOVE(FakeReply)
};
