// SPDX-License-Identifier: MIT
#pragma once

#include <cli/clock.h>
#include <cli/overview.h>

#include <QHash>

class QTextStream;

/// Tells programs how far running downloads are: the "progress" events of docs/json.md, one JSON object a line.
class ProgressEvents
{
public:
    static constexpr qint64 kIntervalMs = 500; ///< between the events of one download

    /// @param events outlives this object
    ProgressEvents(QTextStream &events, Clock clock);

    /// May be called as often as there is news.
    void tell(const Overview &overview);
    /// It has ended; its next run's first event comes at once.
    void forget(qint64 id);

private:
    QTextStream &m_events;
    const Clock m_clock;
    QHash<qint64, qint64> m_last; ///< when each download was told of
};
