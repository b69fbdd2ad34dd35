// SPDX-License-Identifier: MIT
#include <cli/progressevents.h>

#include <cli/jsonline.h>

#include <QJsonObject>
#include <QTextStream>

#include <utility>

using namespace Qt::StringLiterals;

namespace
{

QJsonObject eventOf(const DownloadView &view)
{
    const DownloadStatus &status = view.status;
    return {{u"event"_s, u"progress"_s},
            {u"id"_s, view.id},
            {u"name"_s, status.name},
            {u"done"_s, status.done},
            {u"total"_s, status.total},
            {u"speed"_s, status.speed},
            {u"connections"_s, status.connections},
            {u"retry_in_ms"_s, status.retryInMs}};
}

}

ProgressEvents::ProgressEvents(QTextStream &events, Clock clock)
    : m_events(events)
    , m_clock(std::move(clock))
{
}

void ProgressEvents::tell(const Overview &overview)
{
    const qint64 now = m_clock();
    for (const DownloadView &view : overview.running) {
        const auto last = m_last.constFind(view.id);
        if (last != m_last.cend() && now - *last < kIntervalMs)
            continue;
        m_last.insert(view.id, now);
        m_events << JsonLine::of(eventOf(view)) << Qt::flush;
    }
}

void ProgressEvents::forget(qint64 id)
{
    m_last.remove(id);
}
