// SPDX-License-Identifier: MIT
#pragma once

#include <host/network/transferrequest.h>
#include <host/network/transferstatus.h>

#include <QList>
#include <QNetworkAccessManager>

#include <memory>

class ResourceGuard;
class TransferHub;

/// A manager whose answers can be trusted to be what was asked for.
///
/// Its replies are TransferReplies, over http, https and ftp; what runs beneath them is shared by all, a
/// TransferHub. Only GET and POST are served. Every request asks for "identity" encoding unless it
/// names one itself: a decoded body has no trustworthy length.
///
/// Nor do requests tell anybody what is not for him. Of a request's own headers only harmless ones stay, and a login in
/// its URL or its Referer is taken from it; what the hub's credential store has for exactly its origin is added. A
/// server that asks who is there is answered once in a reply; wrong credentials end with its refusal. The body of a
/// POST request goes to no server that only a redirect named: the request becomes a GET. Redirects are never followed
/// in here.
class TransferManager : public QNetworkAccessManager
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(TransferManager)

public:
    /// @param guard of the download whose requests these are; null = they are nobody's in particular
    explicit TransferManager(std::shared_ptr<TransferHub> hub, std::shared_ptr<ResourceGuard> guard = nullptr,
                             QObject *parent = nullptr);
    ~TransferManager() override;

    /// Of its replies, those that go on, in the order in which they were asked for.
    QList<TransferStatus> transfers() const;

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

    const std::shared_ptr<TransferHub> m_hub;
    const std::shared_ptr<ResourceGuard> m_guard;
};
