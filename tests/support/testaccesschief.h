// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/framework/abstractnetworkaccesschief.h>

#include <QList>
#include <QNetworkAccessManager>
#include <QNetworkCookieJar>
#include <QPointer>
#include <QSharedPointer>
#include <QUrl>

#include <functional>

/// A chief that hands out a new manager each time and keeps none: one that is given back dies at once with the replies
/// that it still has. All managers share one cookie jar.
class TestAccessChief : public AbstractNetworkAccessChief
{
    Q_OBJECT

public:
    using ManagerMaker = std::function<QNetworkAccessManager *()>;

    /// Real managers.
    TestAccessChief();
    explicit TestAccessChief(ManagerMaker maker);
    ~TestAccessChief() override;

    QSharedPointer<QNetworkAccessManager> takeManager(const QUrl &url) override;
    void returnManager(const QSharedPointer<QNetworkAccessManager> &manager, const QUrl &url) override;
    AbstractNetworkConsumersStats *consumersStats() const override;
    NetworkUsageSettings usageSettings() const override;
    AbstractNetworkConsumerSettings defaultConsumerSettings() const override;

    void setUsageSettings(const NetworkUsageSettings &settings);
    void setDefaultConsumerSettings(const AbstractNetworkConsumerSettings &settings);
    /// Replaces the jar of managers handed out from now on.
    void setCookieJar(QNetworkCookieJar *jar);
    QNetworkCookieJar *cookieJar() const;

    /// URLs in the order of handing out and of taking back.
    QList<QUrl> takenUrls() const;
    QList<QUrl> returnedUrls() const;
    /// Managers that are out.
    int outCount() const;
    /// The manager handed out last; null when it is gone.
    QNetworkAccessManager *lastManager() const;

private:
    const ManagerMaker m_maker;
    AbstractNetworkConsumersStats *const m_stats;
    QNetworkCookieJar *m_cookieJar;
    NetworkUsageSettings m_usageSettings;
    AbstractNetworkConsumerSettings m_defaultConsumerSettings;
    QList<QUrl> m_takenUrls;
    QList<QUrl> m_returnedUrls;
    QPointer<QNetworkAccessManager> m_lastManager;

    Q_DISABLE_COPY_MOVE(TestAccessChief)
};
