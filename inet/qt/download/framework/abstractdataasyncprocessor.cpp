// SPDX-License-Identifier: MIT
#include <inet/qt/download/framework/abstractdataasyncprocessor.h>

AbstractDataAsyncProcessor::AbstractDataAsyncProcessor(QObject *parent)
    : QObject(parent)
{
}

AbstractDataAsyncProcessor::~AbstractDataAsyncProcessor() = default;
