// SPDX-License-Identifier: MIT
#include <inet/qt/download/framework/abstractnetworkconsumerwithextratasks.h>

AbstractNetworkConsumerWithExtraTasks::AbstractNetworkConsumerWithExtraTasks(QObject *parent)
    : AbstractNetworkConsumer(parent)
{
}

AbstractNetworkConsumerWithExtraTasks::~AbstractNetworkConsumerWithExtraTasks() = default;
