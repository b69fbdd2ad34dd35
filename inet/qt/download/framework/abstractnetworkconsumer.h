// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/records/abstracterror.h>
#include <inet/qt/download/records/abstractnetworkconsumersettings.h>
#include <inet/qt/download/records/connectionsmap.h>
#include <inet/qt/download/records/downloadenums.h>
#include <inet/qt/download/records/exportmacro.h>
#include <inet/qt/download/records/networkusagesettings.h>

#include <QDateTime>
#include <QList>
#include <QObject>
#include <QSslError>

/// Anything that uses the network: a download, a section of it, one transfer.
///
/// Lives in one thread; every operation is called from there and none blocks.
class DOWNLOADFRAMEWORK_EXPORT AbstractNetworkConsumer : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(AbstractNetworkConsumer)

public:
    explicit AbstractNetworkConsumer(QObject *parent = nullptr);
    ~AbstractNetworkConsumer() override;

    /// Number among its siblings; 0 where it has none.
    virtual qint64 id() const = 0;
    virtual void setNetworkSettings(const AbstractNetworkConsumerSettings &settings) = 0;
    virtual AbstractNetworkConsumerSettings networkSettings() const = 0;
    virtual void setNetworkUsageSettings(const NetworkUsageSettings &settings) = 0;
    virtual NetworkUsageSettings networkUsageSettings() const = 0;
    /// Connections held at this moment.
    virtual QtConnectionsMap connectionsMap() const = 0;
    /// Bytes/s in one direction. @param payloadOnly has no effect where only payload is counted
    virtual qint64 speed(NetworkTrafficDirection direction, bool payloadOnly) const = 0;
    /// Code 0 = none.
    virtual AbstractError lastError() const = 0;
    virtual QList<QSslError> lastSslErrors() const = 0;
    /// When the last error was set or cleared; null = never.
    virtual QDateTime lastErrorTime() const = 0;
    virtual void clearLastError() = 0;
    virtual bool isRunning() const = 0;

Q_SIGNALS:
    /// Bytes; @p total is -1 while unknown.
    void progressChanged(qint64 done, qint64 total);
    /// What has to be added to the receiver's sums: never a whole map after the first time.
    void connectionsMapChangedDelta(const QtConnectionsMap &delta);
};
