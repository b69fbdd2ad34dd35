// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/framework/abstractnetworkconsumer.h>

/// A consumer with runs: each begins with running(true) and ends with running(false).
class DOWNLOADFRAMEWORK_EXPORT AbstractNetworkConsumerWithExtraTasks : public AbstractNetworkConsumer
{
    Q_OBJECT

public:
    explicit AbstractNetworkConsumerWithExtraTasks(QObject *parent = nullptr);
    ~AbstractNetworkConsumerWithExtraTasks() override;

Q_SIGNALS:
    /// A run has begun, or has fully ended; the outcome is then in lastError().
    void running(bool isRunning);
};
