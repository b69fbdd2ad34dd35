// SPDX-License-Identifier: MIT
#pragma once

#include <host/policy/proxychoice.h>

#include <QList>
#include <QNetworkAccessManager>
#include <QSharedPointer>
#include <QSslCertificate>

class CredentialStore;
class FtpLoop;
class QAuthenticator;
class SharedCookieJar;

/// A manager whose answers can be trusted to be what was asked for.
///
/// Every http and https request asks for "identity" encoding unless it names one itself: a decoded body has no
/// trustworthy length. Its reply is a GuardedReply. Knows which of its replies live, so that its owner can tell when
/// it may go: a reply does not survive its manager.
///
/// Nor do requests tell anybody what is not for him. A request's own secret headers, and a login in its URL or its
/// Referer, are taken from it; what the credential store has for exactly its origin is added. A server that asks who is
/// there is answered once in a reply; wrong credentials end with its refusal. A request that carries secrets follows no
/// redirect by itself, and the body of a POST request goes to no server that only a redirect named: the request becomes
/// a GET.
///
/// Files of ftp servers come in an FtpReply, which looks like an answer over http.
class GuardedNetworkAccessManager : public QNetworkAccessManager
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(GuardedNetworkAccessManager)

public:
    explicit GuardedNetworkAccessManager(QSharedPointer<SharedCookieJar> jar, QObject *parent = nullptr);
    ~GuardedNetworkAccessManager() override;

    /// All certificates that servers of later requests may rest on; empty = the system's.
    void setCaCertificates(const QList<QSslCertificate> &certificates);
    /// Of later requests; without one, nobody is told anything.
    void setCredentials(const QSharedPointer<CredentialStore> &credentials) { m_credentials = credentials; }
    void setProxySettings(const ProxyChoice::Settings &settings);

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
    void onAuthenticationRequired(QNetworkReply *reply, QAuthenticator *authenticator);

    QNetworkReply *getByFtp(QNetworkRequest request);
    QNetworkRequest completed(const QNetworkRequest &request) const;
    QNetworkRequest withoutSecrets(QNetworkRequest request) const;
    void addSecrets(QNetworkRequest &request) const;
    void addCookies(QNetworkRequest &request, const QByteArray &given) const;
    bool isReadByProxy(const QUrl &url) const;
    void watch(QNetworkReply *reply);

    const QSharedPointer<SharedCookieJar> m_jar;
    QList<QSslCertificate> m_caCertificates;
    QSharedPointer<CredentialStore> m_credentials; ///< never null
    ProxyChoice::Settings m_proxySettings;
    QSharedPointer<FtpLoop> m_ftpLoop; ///< made when it is needed first
    QList<QNetworkReply *> m_livingReplies;
};
