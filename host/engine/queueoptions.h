// SPDX-License-Identifier: MIT
#pragma once

#include <QtGlobal>

/// How a queue runs downloads.
struct QueueOptions {
    int mostAtOnce = 4;
    qint64 speedLimit = 0; ///< of all together, bytes/s; 0 = none
    int mostTries = 5; ///< in a row that bring nothing; 0 = no end
    qint64 retryWaitMs = 1000; ///< after the first; doubled with each that follows
    bool canAsk = false; ///< somebody is there to answer decisionRequired()
};
