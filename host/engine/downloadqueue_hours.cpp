// SPDX-License-Identifier: MIT
#include <host/engine/downloadqueue.h>

#include <host/engine/downloadsession.h>
#include <host/engine/queueddownload.h>
#include <host/policy/streamwindow.h>

#include <algorithm>
#include <utility>

bool DownloadQueue::isInHours() const
{
    return m_options.schedule.isEmpty() || m_options.schedule.contains(wallClock());
}

qint64 DownloadQueue::msToHours() const
{
    const QDateTime now = wallClock();
    return std::max<qint64>(0, now.msecsTo(m_options.schedule.nextBegin(now)));
}

/// Nothing else looks at the clock while all wait.
void DownloadQueue::keepHours()
{
    if (m_options.schedule.isEmpty() || isIdle())
        return;
    if (!m_tick.isActive())
        m_tick.start();
    if (isInHours()) {
        m_areHoursTold = false;
        goOnInHours();
        return;
    }
    stopOutOfHours();
    tellHours();
}

void DownloadQueue::goOnInHours()
{
    const QList<qint64> ids = activeIds();
    for (const qint64 id : ids) {
        QueuedDownload *const active = findIn(id, DownloadState::Resting);
        if (active && active->rest == RestReason::Hours)
            tryAgain(id, active->job);
    }
}

void DownloadQueue::stopOutOfHours()
{
    const QList<qint64> ids = activeIds();
    for (const qint64 id : ids) {
        QueuedDownload *const active = findIn(id, DownloadState::Running);
        const bool isStopping =
            !active || active->stop != StopReason::None || active->run.finding != Watchdog::Finding::Fine;
        if (isStopping || active->job == Job::FinishNow || !canWait(*active))
            continue;
        active->stop = StopReason::Hours;
        m_session.stop(id);
    }
}

/// What its server would not send the rest of, and what somebody reads meanwhile, goes on, with next to nothing: what
/// has come would be lost.
bool DownloadQueue::canWait(const QueuedDownload &active) const
{
    const AbstractDownloadPersistentInfo info = m_session.info(active.id);
    return !active.reading.stream && (info.bytesDownloaded(false) == 0 || StreamWindow::isResumable(info));
}

/// True where it has to wait for its hours.
bool DownloadQueue::restOutOfHours(QueuedDownload &active, Job job)
{
    if (isInHours())
        return false;
    rest(active, RestReason::Hours, job);
    return true;
}

/// True where its run was ended because the hours were over. Should they have come again by now, it goes on at once.
bool DownloadQueue::goesOnLater(QueuedDownload &active)
{
    if (active.stop != StopReason::Hours)
        return false;
    const bool hasBegun = active.job != Job::Restart || active.info.bytesDownloaded(false) > 0;
    const Job job = hasBegun ? Job::Download : Job::Restart;
    if (!restOutOfHours(active, job))
        rest(active, RestReason::Time, 0, job);
    return true;
}

void DownloadQueue::tellHours()
{
    const bool isAnyWaiting = !m_waiting.isEmpty()
        || std::any_of(m_order.cbegin(), m_order.cend(), [this](qint64 id) { return find(id)->isOutOfHours(); });
    if (!isAnyWaiting || std::exchange(m_areHoursTold, true))
        return;
    const QDateTime until = m_options.schedule.nextBegin(wallClock());
    m_outbox.put([this, until, ms = msToHours()] { Q_EMIT outOfHours(until, ms); });
}
