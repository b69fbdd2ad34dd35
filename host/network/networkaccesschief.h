// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/framework/abstractnetworkaccesschief.h>

#include <QList>
#include <QSslCertificate>
#include <QString>

#include <memory>
#include <vector>

class SharedCookieJar;

/// Hands out managers from a pool.
///
///     taken ── returnManager() ──> idle (kIdleLifeMs, at most kMaximumIdle) ── takeManager() of the same server ──>
///     taken
///                                    └──── too old or too many ──> let go ── last reply deleted ──> deleted
///
/// A manager serves one transfer at a time, because Qt allows six connections to a server per manager and lets a
/// seventh wait without a word. An idle one keeps its connection warm for the next transfer to the same scheme, host
/// and port. All share one cookie jar. Lives in the downloads' thread.
class NetworkAccessChief : public AbstractNetworkAccessChief
{
    Q_OBJECT

public:
    static constexpr int kIdleLifeMs = 60 * 1000;
    static constexpr int kMaximumIdle = 8;

    explicit NetworkAccessChief(QObject *parent = nullptr);
    ~NetworkAccessChief() override;

    QSharedPointer<QNetworkAccessManager> takeManager(const QUrl &url) override;
    void returnManager(const QSharedPointer<QNetworkAccessManager> &manager, const QUrl &url) override;

    AbstractNetworkConsumersStats *consumersStats() const override;
    NetworkUsageSettings usageSettings() const override { return m_usageSettings; }
    AbstractNetworkConsumerSettings defaultConsumerSettings() const override { return m_consumerSettings; }

    void setUsageSettings(const NetworkUsageSettings &settings) { m_usageSettings = settings; }
    void setDefaultConsumerSettings(const AbstractNetworkConsumerSettings &settings) { m_consumerSettings = settings; }
    /// Certificates of a PEM file that servers may rest on, besides the system's. False, with the reason, when there
    /// are none in it.
    bool addCaCertificates(const QString &path, QString *errorText);

    int idleManagersCount() const;

private:
    struct IdleManager;

    QSharedPointer<QNetworkAccessManager> newManager();
    void letGoOf(const QNetworkAccessManager *manager);

    const QSharedPointer<SharedCookieJar> m_jar;
    const std::unique_ptr<AbstractNetworkConsumersStats> m_stats;
    std::vector<IdleManager> m_idle; ///< the one that has waited longest is first
    QList<QSslCertificate> m_caCertificates;
    NetworkUsageSettings m_usageSettings;
    AbstractNetworkConsumerSettings m_consumerSettings;
};
