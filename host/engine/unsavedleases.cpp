// SPDX-License-Identifier: MIT
#include <host/engine/unsavedleases.h>

#include <algorithm>
#include <utility>

UnsavedLeases::UnsavedLeases(DownloadStore &list, QObject *parent)
    : QObject(parent)
    , m_list(list)
    , m_timer(this)
{
    m_timer.setInterval(kRestMs);
    connect(&m_timer, &QTimer::timeout, this, &UnsavedLeases::writeNext);
}

UnsavedLeases::~UnsavedLeases() = default;

void UnsavedLeases::keep(const DownloadStore::Record &record, const DownloadStore::Holdings &holdings)
{
    Unsaved &lease = m_leases[record.id];
    lease.record = record;
    lease.holdings = holdings;
    lease.number = ++m_kept;
    begin();
}

void UnsavedLeases::keep(qint64 id, const Result &result)
{
    m_leases[id].results.append(result);
    begin();
}

void UnsavedLeases::forget(qint64 id)
{
    const auto lease = m_leases.find(id);
    if (lease == m_leases.end())
        return;
    lease->record.reset();
    lease->results.removeIf([](const Result &result) { return result.isOfRun; });
    if (lease->results.isEmpty())
        m_leases.erase(lease);
}

void UnsavedLeases::begin()
{
    if (!m_timer.isActive())
        m_timer.start();
}

/// What is written is not written again.
bool UnsavedLeases::write(Unsaved &lease)
{
    if (lease.record && !m_list.update(*lease.record, lease.holdings, DownloadStore::Lasting::Always))
        return false;
    lease.record.reset();
    while (!lease.results.isEmpty() && (lease.results.first().put(m_list) || !m_list.lastFailure()))
        lease.results.removeFirst();
    return lease.results.isEmpty();
}

Failure UnsavedLeases::writeNow(qint64 id)
{
    const auto lease = m_leases.find(id);
    if (lease == m_leases.end())
        return {};
    const Failure failure = write(*lease) ? Failure() : m_list.lastFailure();
    const bool isLeft = failure && failure.kind != Failure::Kind::OwnedByOther;
    // One that was removed is refused for ever.
    if (isLeft && (m_list.load(id) || m_list.lastFailure()))
        return failure;
    m_leases.remove(id);
    return {};
}

Failure UnsavedLeases::writeAllNow()
{
    const QList<qint64> ids = m_leases.keys();
    for (const qint64 id : ids) {
        if (const Failure failure = writeNow(id))
            return failure;
    }
    return {};
}

/// One at a time: a list that another process is at holds up who asks it something, too.
void UnsavedLeases::writeNext()
{
    if (m_leases.isEmpty()) {
        m_timer.stop();
        return;
    }
    auto next = std::as_const(m_leases).upperBound(m_lastTried);
    if (next == m_leases.cend())
        next = m_leases.cbegin();
    m_lastTried = next.key();
    if (!next->record) {
        if (!writeNow(next.key()))
            QTimer::singleShot(0, this, &UnsavedLeases::writeNext);
        return;
    }
    const auto onAnswer = [this, id = next.key(), number = next->number](const Failure &failure) {
        onWritten(id, number, failure);
    };
    m_list.save(*next->record, next->holdings, this, onAnswer);
}

/// What was kept meanwhile is newer.
void UnsavedLeases::onWritten(qint64 id, quint64 number, const Failure &failure)
{
    const auto lease = m_leases.find(id);
    const bool isDone = !failure || failure.kind == Failure::Kind::OwnedByOther;
    if (!isDone || lease == m_leases.end() || lease->number != number)
        return;
    lease->record.reset();
    if (failure)
        lease->results.clear();
    if (!writeNow(id))
        writeNext();
}
