// SPDX-License-Identifier: MIT
#include <tests/support/testaccesschief.h>

#include <inet/qt/download/framework/abstractnetworkconsumersstats.h>

#include <utility>

TestAccessChief::TestAccessChief()
    : TestAccessChief([] { return new QNetworkAccessManager; })
{
}

TestAccessChief::TestAccessChief(ManagerMaker maker)
    : m_maker(std::move(maker))
    , m_stats(new AbstractNetworkConsumersStats(this))
    , m_cookieJar(new QNetworkCookieJar(this))
{
}

TestAccessChief::~TestAccessChief() = default;

QSharedPointer<QNetworkAccessManager> TestAccessChief::takeManager(const QUrl &url)
{
    m_takenUrls.append(url);
    const QSharedPointer<QNetworkAccessManager> manager(m_maker());
    manager->setCookieJar(m_cookieJar);
    // The manager took the jar for its own child and would take it along.
    m_cookieJar->setParent(this);
    m_lastManager = manager.get();
    return manager;
}

void TestAccessChief::returnManager(const QSharedPointer<QNetworkAccessManager> &, const QUrl &url)
{
    m_returnedUrls.append(url);
}

AbstractNetworkConsumersStats *TestAccessChief::consumersStats() const
{
    return m_stats;
}

NetworkUsageSettings TestAccessChief::usageSettings() const
{
    return m_usageSettings;
}

AbstractNetworkConsumerSettings TestAccessChief::defaultConsumerSettings() const
{
    return m_defaultConsumerSettings;
}

void TestAccessChief::setUsageSettings(const NetworkUsageSettings &settings)
{
    m_usageSettings = settings;
}

void TestAccessChief::setDefaultConsumerSettings(const AbstractNetworkConsumerSettings &settings)
{
    m_defaultConsumerSettings = settings;
}

void TestAccessChief::setCookieJar(QNetworkCookieJar *jar)
{
    jar->setParent(this);
    m_cookieJar = jar;
}

QNetworkCookieJar *TestAccessChief::cookieJar() const
{
    return m_cookieJar;
}

QList<QUrl> TestAccessChief::takenUrls() const
{
    return m_takenUrls;
}

QList<QUrl> TestAccessChief::returnedUrls() const
{
    return m_returnedUrls;
}

int TestAccessChief::outCount() const
{
    return int(m_takenUrls.size() - m_returnedUrls.size());
}

QNetworkAccessManager *TestAccessChief::lastManager() const
{
    return m_lastManager;
}
