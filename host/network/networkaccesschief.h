// SPDX-License-Identifier: MIT
#pragma once

#include <host/network/networkoptions.h>
#include <host/policy/failure.h>
#include <inet/qt/download/framework/abstractnetworkaccesschief.h>

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <memory>

class CredentialStore;
class ResourceGuard;
class TransferHub;
class TransferManager;

/// Hands out one manager to all transfers: connections, names and TLS sessions are shared beneath it, in threads of
/// their own. The manager lives as long as somebody holds it.
///
/// Secrets (logins in URLs, custom headers that are not known to be harmless) do not go into records: whoever adds or
/// resumes a download calls takeSecrets() for each URL first. From then on the managers add them to requests to
/// exactly that origin, and take them from all others, wherever a redirect leads. Lives in the downloads' thread.
class NetworkAccessChief : public AbstractNetworkAccessChief
{
    Q_OBJECT

public:
    explicit NetworkAccessChief(QObject *parent = nullptr);
    ~NetworkAccessChief() override;

    QSharedPointer<QNetworkAccessManager> takeManager(const QUrl &url) override;
    void returnManager(const QSharedPointer<QNetworkAccessManager> &manager, const QUrl &url) override;

    /// A manager for the requests of one download, over what all share.
    QSharedPointer<TransferManager> makeManager(const std::shared_ptr<ResourceGuard> &guard) const;

    /// Cuts off all transfers, of all its managers, and waits for their threads: for whoever ends a program, in which
    /// TLS is taken down beneath a thread that still uses it. Neither what runs nor what is asked for afterwards ends
    /// with an answer.
    void endTransfers();

    AbstractNetworkConsumersStats *consumersStats() const override;
    NetworkUsageSettings usageSettings() const override { return m_usageSettings; }
    AbstractNetworkConsumerSettings defaultConsumerSettings() const override { return m_consumerSettings; }

    /// Of all downloads together, from now on.
    void setUsageSettings(const NetworkUsageSettings &settings);
    /// Downloads that would have more connections look again whether they may, as soon as the event loop runs.
    void announceLimits();
    void setDefaultConsumerSettings(const AbstractNetworkConsumerSettings &settings) { m_consumerSettings = settings; }
    /// Certificates of a PEM file that servers may rest on, besides the system's. False, with the reason, when there
    /// are none in it.
    bool addCaCertificates(const QString &path, Failure *failure);

    /// Once, before the first manager is taken. False, with a failure, when something in the options is unusable; that
    /// ~/.netrc does not exist is no such thing. What a person should only know is in warnings() then.
    bool apply(const NetworkOptions &options, Failure *failure);
    QList<Failure> warnings() const { return m_warnings; }

    /// Keeps what of a request is secret, for the origin of @p url and for no other: the login in the URL and the
    /// custom headers that are not harmless (see HarmlessHeaders), which leave @p headers (null = there are none). For
    /// every URL that a person gave, mirrors included, each time before its download starts: only these servers get
    /// credentials that are not bound to an origin, and the bodies of POST requests.
    /// @return the URL without the login, fit to be stored, logged and shown
    QUrl takeSecrets(const QUrl &url, QVariantMap *headers);
    /// What takeSecrets() keeps; lives as long as the chief.
    CredentialStore &credentials() const;

    /// Between here and the URL; empty = none.
    QUrl proxyFor(const QUrl &url) const;
    /// Whose password the server of this URL gets where it asks for one; empty = nobody's.
    QString userFor(const QUrl &url) const;

private:
    bool applyProxies(const NetworkOptions &options, Failure *failure);
    bool loadNetrc(const QString &fileName, bool mustExist, Failure *failure);
    bool loadCookies(const QString &fileName, Failure *failure);

    const std::shared_ptr<TransferHub> m_hub;
    const std::unique_ptr<AbstractNetworkConsumersStats> m_stats;
    const QSharedPointer<TransferManager> m_manager;
    QList<QByteArray> m_authorities; ///< DER
    QList<Failure> m_warnings;
    NetworkUsageSettings m_usageSettings;
    AbstractNetworkConsumerSettings m_consumerSettings;
    bool m_areLimitsToBeAnnounced = false;
};
