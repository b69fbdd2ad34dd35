// SPDX-License-Identifier: MIT
#pragma once

#include <host/network/transferpipe.h>
#include <host/network/transferrequest.h>
#include <host/policy/proxychoice.h>

#include <QList>
#include <QNetworkAccessManager>
#include <QSharedPointer>

#include <memory>

class CredentialStore;
class SharedCookieJar;
class TransferLoop;

/// A manager whose answers can be trusted to be what was asked for.
///
/// Its replies are TransferReplies, over http, https and ftp; what runs beneath them is shared by all, in a thread for
/// http and https and one for ftp. Only GET and POST are served. Every request asks for "identity" encoding unless it
/// names one itself: a decoded body has no trustworthy length.
///
/// Nor do requests tell anybody what is not for him. A request's own secret headers, and a login in its URL or its
/// Referer, are taken from it; what the credential store has for exactly its origin is added. A server that asks who is
/// there is answered once in a reply; wrong credentials end with its refusal. The body of a POST request goes to no
/// server that only a redirect named: the request becomes a GET. Redirects are never followed in here.
class TransferManager : public QNetworkAccessManager
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(TransferManager)

public:
    explicit TransferManager(QSharedPointer<SharedCookieJar> jar, QObject *parent = nullptr);
    ~TransferManager() override;

    /// DER of certificates that servers of later requests may rest on, besides the system's.
    void setAuthorities(const QList<QByteArray> &authorities) { m_authorities = authorities; }
    /// Of later requests; without one, nobody is told anything.
    void setCredentials(const QSharedPointer<CredentialStore> &credentials) { m_credentials = credentials; }
    /// Between here and the URL; empty = none.
    QUrl proxyFor(const QUrl &url) const { return ProxyChoice::forUrl(url, m_proxySettings); }
    void setProxySettings(const ProxyChoice::Settings &settings) { m_proxySettings = settings; }

protected:
    QNetworkReply *createRequest(Operation operation, const QNetworkRequest &request, QIODevice *outgoingData) override;

private:
    QNetworkReply *refuse(Operation operation, const QNetworkRequest &request, QNetworkReply::NetworkError error,
                          const QString &text);
    QNetworkReply *send(Operation operation, const QNetworkRequest &original, const TransferRequest &request);
    TransferRequest overHttp(Operation operation, const QNetworkRequest &request, QIODevice *outgoingData) const;
    TransferRequest overFtp(const QNetworkRequest &request) const;

    QNetworkRequest completed(const QNetworkRequest &request) const;
    QNetworkRequest withoutSecrets(QNetworkRequest request) const;
    void addSecrets(QNetworkRequest &request) const;
    void addCookies(QNetworkRequest &request) const;
    bool isReadByProxy(const QUrl &url) const;
    const std::shared_ptr<TransferLoop> &loopFor(const QUrl &url);

    const QSharedPointer<SharedCookieJar> m_jar;
    QList<QByteArray> m_authorities;
    QSharedPointer<CredentialStore> m_credentials; ///< never null
    ProxyChoice::Settings m_proxySettings;
    const std::shared_ptr<TransferMeans> m_means;
    std::shared_ptr<TransferLoop> m_loop; ///< made when it is needed first
    std::shared_ptr<TransferLoop> m_ftpLoop; ///< likewise; taking leave of an ftp server waits for its answer
};
