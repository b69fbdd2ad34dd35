// SPDX-License-Identifier: MIT
#pragma once

#include <QList>
#include <QNetworkAccessManager>
#include <QSharedPointer>
#include <QSslCertificate>

class SharedCookieJar;

/// A manager whose answers can be trusted to be what was asked for.
///
/// Every http and https request asks for "identity" encoding unless it names one itself: a decoded body has no
/// trustworthy length. Its reply is a GuardedReply. Knows which of its replies live, so that its owner can tell when
/// it may go: a reply does not survive its manager.
class GuardedNetworkAccessManager : public QNetworkAccessManager
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(GuardedNetworkAccessManager)

public:
    explicit GuardedNetworkAccessManager(QSharedPointer<SharedCookieJar> jar, QObject *parent = nullptr);
    ~GuardedNetworkAccessManager() override;

    /// All certificates that servers of later requests may rest on; empty = the system's.
    void setCaCertificates(const QList<QSslCertificate> &certificates);

    /// Some reply has not been deleted yet.
    bool hasLivingReplies() const { return !m_livingReplies.isEmpty(); }
    /// Some reply has not ended yet.
    bool isTransferring() const;

Q_SIGNALS:
    /// From now on hasLivingReplies() is false.
    void lastReplyGone();

protected:
    QNetworkReply *createRequest(Operation operation, const QNetworkRequest &request, QIODevice *outgoingData) override;

private:
    QNetworkRequest completed(const QNetworkRequest &request) const;
    void watch(QNetworkReply *reply);

    const QSharedPointer<SharedCookieJar> m_jar;
    QList<QSslCertificate> m_caCertificates;
    QList<QNetworkReply *> m_livingReplies;
};
