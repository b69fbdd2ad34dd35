// SPDX-License-Identifier: MIT
#include <inet/qt/download/framework/abstractnetworkconsumer.h>

AbstractNetworkConsumer::AbstractNetworkConsumer(QObject *parent)
    : QObject(parent)
{
}

AbstractNetworkConsumer::~AbstractNetworkConsumer() = default;
