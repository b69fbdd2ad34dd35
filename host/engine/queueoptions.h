// SPDX-License-Identifier: MIT
#pragma once

#include <host/policy/ratesofday.h>
#include <host/policy/timesofday.h>

#include <QDateTime>
#include <QList>
#include <QtGlobal>

/// How a queue runs downloads.
struct QueueOptions {
    int mostAtOnce = 4;
    qint64 speedLimit = 0; ///< of all together, bytes/s; 0 = none
    int mostTries = 5; ///< in a row that bring nothing; 0 = no end
    qint64 retryWaitMs = 1000; ///< after the first; doubled with each that follows
    bool canAsk = false; ///< somebody is there to answer decisionRequired()
    QList<RatesOfDay::Timed> speedTimes = {}; ///< hours at which speedLimit is another one
    QList<RatesOfDay::Timed> rateTimes = {}; ///< the same of each download that has no limit of its own
    TimesOfDay schedule = {}; ///< at which downloads run; none = always

    /// Of all together, bytes/s; 0 = none.
    qint64 speedLimitAt(const QDateTime &moment) const { return RatesOfDay{speedLimit, speedTimes}.at(moment); }
    /// Invalid = it is an hour at which downloads run.
    QDateTime outOfHoursUntil(const QDateTime &moment) const
    {
        return schedule.contains(moment) ? QDateTime() : schedule.nextBegin(moment);
    }
};
