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
    m_leases.insert(record.id, {record, holdings, ++m_kept});
    if (!m_timer.isActive())
        m_timer.start();
}

bool UnsavedLeases::writeNow(qint64 id)
{
    const auto lease = m_leases.constFind(id);
    if (lease == m_leases.cend())
        return true;
    const bool isWritten = m_list.update(lease->record, lease->holdings, DownloadStore::Lasting::Always);
    const Failure failure = isWritten ? Failure() : m_list.lastFailure();
    const bool isLeft = failure && failure.kind != Failure::Kind::OwnedByOther;
    // One that was removed is refused for ever.
    if (isLeft && (m_list.load(id) || m_list.lastFailure()))
        return false;
    m_leases.remove(id);
    return true;
}

bool UnsavedLeases::writeAllNow()
{
    const QList<qint64> ids = m_leases.keys();
    return std::all_of(ids.cbegin(), ids.cend(), [this](qint64 id) { return writeNow(id); });
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
    const auto onAnswer = [this, id = next.key(), number = next->number](const Failure &failure) {
        onWritten(id, number, failure);
    };
    m_list.save(next->record, next->holdings, this, onAnswer);
}

/// What was kept meanwhile is newer.
void UnsavedLeases::onWritten(qint64 id, quint64 number, const Failure &failure)
{
    const auto lease = m_leases.constFind(id);
    const bool isDone = !failure || failure.kind == Failure::Kind::OwnedByOther;
    if (!isDone || lease == m_leases.cend() || lease->number != number)
        return;
    m_leases.erase(lease);
    writeNext();
}
