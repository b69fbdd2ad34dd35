// SPDX-License-Identifier: MIT
#pragma once

#include <host/network/networkpath.h>
#include <host/network/transferpipe.h>
#include <host/policy/proxychoice.h>

#include <QByteArray>
#include <QList>
#include <QSharedPointer>
#include <QUrl>

#include <memory>

class CredentialStore;
class RequestGate;
class SharedCookieJar;
class TransferLoop;

/// What all managers of a session share: what runs beneath them, and what they may say to whom. Connections, names and
/// TLS sessions are shared by sharing this.
///
/// Outlived by nobody who uses it: managers and replies hold it. Lives in their thread.
class TransferHub
{
    Q_DISABLE_COPY_MOVE(TransferHub)

public:
    explicit TransferHub(const QSharedPointer<SharedCookieJar> &jar);
    ~TransferHub();

    SharedCookieJar &jar() const { return *m_jar; }
    CredentialStore &credentials() const { return *m_credentials; }

    /// DER of certificates that servers of later requests may rest on, besides the system's.
    void setAuthorities(const QList<QByteArray> &authorities) { m_authorities = authorities; }
    const QList<QByteArray> &authorities() const { return m_authorities; }

    void setProxySettings(const ProxyChoice::Settings &settings) { m_proxySettings = settings; }
    /// Between here and the URL; empty = none.
    QUrl proxyFor(const QUrl &url) const { return ProxyChoice::forUrl(url, m_proxySettings); }

    void setPath(const NetworkPath &path) { m_path = std::make_shared<NetworkPath>(path); }
    /// Of later requests; null = any way.
    const std::shared_ptr<const NetworkPath> &path() const { return m_path; }

    const std::shared_ptr<TransferMeans> &means() const { return m_means; }
    const std::shared_ptr<RequestGate> &gate() const { return m_gate; }
    /// The loop of the URL's scheme; made when it is needed first.
    const std::shared_ptr<TransferLoop> &loopFor(const QUrl &url);
    /// See NetworkAccessChief::endTransfers().
    void endTransfers();

private:
    const QSharedPointer<SharedCookieJar> m_jar;
    const std::unique_ptr<CredentialStore> m_credentials;
    QList<QByteArray> m_authorities;
    ProxyChoice::Settings m_proxySettings;
    std::shared_ptr<const NetworkPath> m_path;
    const std::shared_ptr<TransferMeans> m_means;
    const std::shared_ptr<RequestGate> m_gate;
    bool m_isOver = false;
    std::shared_ptr<TransferLoop> m_loop;
    std::shared_ptr<TransferLoop> m_ftpLoop; ///< taking leave of an ftp server waits for its answer
};
