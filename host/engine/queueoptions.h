// SPDX-License-Identifier: MIT
#pragma once

#include <host/network/descriptorlimit.h>
#include <host/policy/ratesofday.h>
#include <host/policy/timesofday.h>

#include <QDateTime>
#include <QList>
#include <QtGlobal>

#include <algorithm>

/// How a queue runs downloads.
struct QueueOptions {
    int mostAtOnce = 4; ///< as it was asked for; see places()
    qint64 speedLimit = 0; ///< of all together, bytes/s; 0 = none
    int mostTries = 5; ///< in a row that bring nothing; 0 = no end
    qint64 retryWaitMs = 1000; ///< after the first; doubled with each that follows
    bool canAsk = false; ///< somebody is there to answer decisionRequired()
    QList<RatesOfDay::Timed> speedTimes = {}; ///< hours at which speedLimit is another one
    QList<RatesOfDay::Timed> rateTimes = {}; ///< the same of each download that has no limit of its own
    TimesOfDay schedule = {}; ///< at which downloads run; none = always

    /// Of so many that are active at once: at least 1. A file is open for a while after its last byte has come, when
    /// its connection has long gone to the next one: there are descriptors for as many of both.
    int places() const { return int(std::max(1L, std::min(long(mostAtOnce), DescriptorLimit::connections()))); }
    /// Of all together, bytes/s; 0 = none.
    qint64 speedLimitAt(const QDateTime &moment) const { return RatesOfDay{speedLimit, speedTimes}.at(moment); }
    /// Invalid = it is an hour at which downloads run.
    QDateTime outOfHoursUntil(const QDateTime &moment) const
    {
        return schedule.contains(moment) ? QDateTime() : schedule.nextBegin(moment);
    }
};
