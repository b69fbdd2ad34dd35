// SPDX-License-Identifier: MIT
#include <inet/qt/download/framework/abstractnetworkaccesschief.h>

AbstractNetworkAccessChief::AbstractNetworkAccessChief(QObject *parent)
    : QObject(parent)
{
}

AbstractNetworkAccessChief::~AbstractNetworkAccessChief() = default;
