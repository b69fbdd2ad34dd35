// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/framework/abstractnetworkconsumerwithextratasks.h>

/// A consumer that does as it is told, and remembers what it was given.
class FakeConsumer : public AbstractNetworkConsumerWithExtraTasks
{
    Q_OBJECT

public:
    explicit FakeConsumer(qint64 id)
        : AbstractNetworkConsumerWithExtraTasks(nullptr)
        , m_id(id)
    {
    }

    void setRunning(bool isRunning)
    {
        m_running = isRunning;
        Q_EMIT running(isRunning);
    }
    void changeConnections(const QtConnectionsMap &delta)
    {
        uniteConnectionsMaps(m_connections, delta);
        Q_EMIT connectionsMapChangedDelta(delta);
    }

    qint64 id() const override { return m_id; }
    void setNetworkSettings(const AbstractNetworkConsumerSettings &settings) override
    {
        m_networkSettings = settings;
        ++networkSettingsCalls;
    }
    AbstractNetworkConsumerSettings networkSettings() const override { return m_networkSettings; }
    void setNetworkUsageSettings(const NetworkUsageSettings &settings) override
    {
        m_usageSettings = settings;
        ++usageSettingsCalls;
    }
    NetworkUsageSettings networkUsageSettings() const override { return m_usageSettings; }
    QtConnectionsMap connectionsMap() const override { return m_connections; }
    qint64 speed(NetworkTrafficDirection direction, bool) const override
    {
        return direction == NetworkTrafficDirection::Download ? downloadSpeed : 0;
    }
    AbstractError lastError() const override { return error; }
    QList<QSslError> lastSslErrors() const override { return sslErrors; }
    QDateTime lastErrorTime() const override { return errorTime; }
    void clearLastError() override { error = {}; }
    bool isRunning() const override { return m_running; }

    int networkSettingsCalls = 0;
    int usageSettingsCalls = 0;
    qint64 downloadSpeed = 0;
    AbstractError error;
    QDateTime errorTime;
    QList<QSslError> sslErrors;

private:
    const qint64 m_id;
    bool m_running = false;
    QtConnectionsMap m_connections;
    AbstractNetworkConsumerSettings m_networkSettings;
    NetworkUsageSettings m_usageSettings;
};
