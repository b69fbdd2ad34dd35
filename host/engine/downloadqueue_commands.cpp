// SPDX-License-Identifier: MIT
#include <host/engine/downloadqueue.h>

#include <host/engine/downloadsession.h>
#include <host/engine/queueddownload.h>
#include <host/policy/finishnow.h>

#include <QThread>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

bool DownloadQueue::append(qint64 id, Job job, Failure *failure, qint64 placeKey)
{
    Q_ASSERT(QThread::currentThread() == thread());
    const Outbox::Scope scope(m_outbox);
    const std::optional<DownloadState> known = state(id);
    if (m_life == Life::Closing)
        return refuse(id, Clause::Kind::QueueClosed, failure);
    if (known && *known != DownloadState::Paused)
        return refuse(id, Clause::Kind::WaitsOrHasBegun, failure);
    m_entries[id].placeKey = placeKey;
    enqueue(id, job);
    return true;
}

bool DownloadQueue::pause(qint64 id, Failure *failure)
{
    Q_ASSERT(QThread::currentThread() == thread());
    const Outbox::Scope scope(m_outbox);
    const Entry *const entry = entryOf(id);
    if (!entry || entry->state == DownloadState::Paused)
        return refuse(id, Clause::Kind::NeitherWaitsNorBegan, failure);
    if (entry->active && entry->active->isCalledOff())
        return refuse(id, Clause::Kind::BeingStopped, failure);
    if (entry->active) {
        stop(*entry->active, false);
    } else {
        m_waiting.removeOne(id);
        pauseWaiting(id);
        m_session.letGo(id);
        fillSoon();
    }
    return true;
}

bool DownloadQueue::resume(qint64 id, Failure *failure)
{
    Q_ASSERT(QThread::currentThread() == thread());
    const Outbox::Scope scope(m_outbox);
    const Entry *const entry = entryOf(id);
    if (m_life == Life::Closing || !entry || entry->state != DownloadState::Paused)
        return refuse(id, Clause::Kind::NotPaused, failure);
    enqueue(id, entry->job);
    return true;
}

bool DownloadQueue::finishNow(qint64 id, Failure *failure)
{
    Q_ASSERT(QThread::currentThread() == thread());
    const Outbox::Scope scope(m_outbox);
    Entry *const entry = entryOf(id);
    if (!entry || entry->state == DownloadState::Paused)
        return refuse(id, Clause::Kind::NeitherWaitsNorBegan, failure);
    if (entry->state == DownloadState::Running)
        return m_session.finishNow(id, failure);
    const auto record = entry->active ? std::optional(entry->active->info) : m_session.record(id);
    *failure = record ? FinishNow::refusal(*record, false) : m_session.whyNoRecord(id);
    if (*failure)
        return false;
    finishSoon(*entry, id);
    return true;
}

/// Whoever waits goes on waiting for a place, but no server has to have room.
void DownloadQueue::finishSoon(Entry &entry, qint64 id)
{
    if (entry.state != DownloadState::Waiting) {
        tryAgain(id, Job::FinishNow);
        return;
    }
    entry.job = Job::FinishNow;
    if (entry.active)
        entry.active->job = Job::FinishNow;
    fillSoon();
}

bool DownloadQueue::take(qint64 id, Failure *failure)
{
    Q_ASSERT(QThread::currentThread() == thread());
    const Outbox::Scope scope(m_outbox);
    Entry *const entry = entryOf(id);
    if (!entry)
        return refuse(id, Clause::Kind::NotInQueue, failure);
    if (entry->active) {
        stop(*entry->active, true);
        return true;
    }
    if (m_waiting.removeOne(id))
        pauseWaiting(id);
    transition(id, DownloadState::Removed);
    forget(id);
    fillSoon();
    return true;
}

void DownloadQueue::setPlaces(const QList<RowPlace> &places)
{
    Q_ASSERT(QThread::currentThread() == thread());
    QList<qint64> waiting;
    for (const RowPlace &place : places) {
        Entry *const entry = entryOf(place.id);
        if (!entry)
            continue;
        entry->placeKey = place.key;
        if (!entry->active && m_waiting.removeOne(place.id))
            waiting.append(place.id);
    }
    for (const qint64 id : std::as_const(waiting))
        putAmongWaiting(id);
}

void DownloadQueue::pauseAll()
{
    Q_ASSERT(QThread::currentThread() == thread());
    const Outbox::Scope scope(m_outbox);
    const QList<qint64> waiting = std::exchange(m_waiting, {});
    for (const qint64 id : waiting)
        pauseWaiting(id);
    m_session.letGo(waiting);
    const QList<qint64> active = activeIds();
    for (const qint64 id : active)
        pause(id);
    fillSoon();
}

void DownloadQueue::resumeAll()
{
    Q_ASSERT(QThread::currentThread() == thread());
    const Outbox::Scope scope(m_outbox);
    const QList<qint64> paused = m_life == Life::Open ? std::exchange(m_paused, {}) : QList<qint64>();
    for (const qint64 id : paused)
        enqueue(id, m_entries.at(id).job);
}

void DownloadQueue::close()
{
    Q_ASSERT(QThread::currentThread() == thread());
    const Outbox::Scope scope(m_outbox);
    m_life = Life::Closing;
    giveUpWaiting();
    const QList<qint64> ids = activeIds();
    for (const qint64 id : ids) {
        QueuedDownload *const active = find(id);
        if (active && !active->isCalledOff())
            stop(*active, false);
    }
    fillSoon();
}

void DownloadQueue::decide(qint64 id, bool restart)
{
    Q_ASSERT(QThread::currentThread() == thread());
    const Outbox::Scope scope(m_outbox);
    QueuedDownload *const active = findIn(id, DownloadState::Asking);
    if (active && restart)
        tryAgain(id, Job::Restart);
    else if (active)
        endByItsError(*active);
}

void DownloadQueue::answerFileExists(qint64 id, int fileIndex, AbstractDownloadFileExistsAction action)
{
    Q_ASSERT(QThread::currentThread() == thread());
    const bool isSkip = action == AbstractDownloadFileExistsAction::Skip;
    if (QueuedDownload *const active = find(id))
        active->answer = isSkip ? QueuedDownload::Answer::Skip : QueuedDownload::Answer::None;
    m_session.fileExistsAction(id, fileIndex, action);
}

void DownloadQueue::leaveUnanswered(qint64 id, int fileIndex)
{
    Q_ASSERT(QThread::currentThread() == thread());
    if (QueuedDownload *const active = find(id))
        active->answer = QueuedDownload::Answer::Nobody;
    m_session.fileExistsAction(id, fileIndex, AbstractDownloadFileExistsAction::Skip);
}

void DownloadQueue::setMostAtOnce(int count)
{
    Q_ASSERT(QThread::currentThread() == thread());
    m_options.mostAtOnce = std::max(1, count);
    fillSoon();
}

bool DownloadQueue::refuse(qint64 id, Clause::Kind reason, Failure *failure)
{
    if (failure)
        *failure = Failure::make(Failure::Kind::WrongState, Failure::Subject::of(id), reason);
    return false;
}

void DownloadQueue::enqueue(qint64 id, Job job)
{
    Entry &entry = m_entries[id];
    entry.job = job;
    m_paused.removeOne(id);
    putAmongWaiting(id);
    transition(id, DownloadState::Waiting);
    fillSoon();
}

void DownloadQueue::putAmongWaiting(qint64 id)
{
    const auto isBefore = [this](qint64 key, qint64 other) { return key < m_entries.at(other).placeKey; };
    m_waiting.insert(std::upper_bound(m_waiting.cbegin(), m_waiting.cend(), m_entries.at(id).placeKey, isBefore), id);
}

/// It is no longer among those that wait.
void DownloadQueue::pauseWaiting(qint64 id)
{
    transition(id, DownloadState::Paused);
    m_paused.append(id);
}

void DownloadQueue::stop(QueuedDownload &active, bool isTaken)
{
    active.stop = isTaken ? StopReason::Leave : StopReason::Pause;
    if (isRunning(active))
        m_session.stop(active.id);
    else
        end(active, active.stopped());
}

/// Neither the list nor anybody else is asked about each of them: there may be a hundred thousand.
void DownloadQueue::giveUpWaiting()
{
    const qsizetype count = std::exchange(m_waiting, {}).size();
    std::erase_if(m_entries, [](const auto &item) { return !item.second.active; });
    m_paused.clear();
    if (count > 0)
        m_outbox.put([this, count] { Q_EMIT neverBegan(count); });
}

void DownloadQueue::forget(qint64 id)
{
    m_paused.removeOne(id);
    m_entries.erase(id);
}
