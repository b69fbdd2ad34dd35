// SPDX-License-Identifier: MIT
#include <host/storage/downloadlist.h>

#include <host/storage/listrows.h>
#include <host/storage/memoryrows.h>
#include <host/storage/owners.h>
#include <host/storage/processidentity.h>
#include <host/storage/recordrows.h>
#include <host/storage/sqldatabase.h>

using namespace Qt::StringLiterals;

DownloadList::Claim DownloadList::claim(qint64 id, Owner *owner)
{
    return claim(id, owner, [] { return true; });
}

DownloadList::Claim DownloadList::claim(qint64 id, Lease &lease, Owner *owner)
{
    return claim(id, owner, [&] { return read(id, lease); });
}

/// Inside of a transaction.
bool DownloadList::read(qint64 id, Lease &lease)
{
    const RecordRows::Records records = m_rows->select(u"id = ?"_s, {id});
    const auto options = records ? ListRows::options(*m_rows, id) : std::nullopt;
    const auto file = options ? ListRows::fileIdentity(*m_rows, id) : std::nullopt;
    const auto encoding = file ? ListRows::contentEncoding(*m_rows, id) : std::nullopt;
    const auto memory = encoding ? MemoryRows::load(*m_rows, id) : std::nullopt;
    const auto fence = memory ? ListRows::fence(*m_rows, id) : std::nullopt;
    if (!fence || records->isEmpty())
        return false;
    lease = {records->first(), *options, *file, *encoding, *memory, *fence};
    return true;
}

/// What is this process's already is not written again.
DownloadList::Claim DownloadList::claim(qint64 id, Owner *owner, const std::function<bool()> &andThen)
{
    const ProcessIdentity me = ProcessIdentity::current();
    bool isOthers = false;
    const bool taken = changing(Lasting::ThisRunOfTheMachine, [&] {
        bool found = false;
        const ProcessIdentity before = ownerOf(id, &found);
        int secondsLeft = 0;
        isOthers = found && before != me && Owners::isAlive(*m_rows, before, &secondsLeft);
        if (isOthers && owner)
            *owner = {before, secondsLeft};
        return found && !isOthers && (before == me || setOwner(id, me)) && andThen();
    });
    if (taken)
        return Claim::Taken;
    return isOthers ? Claim::OwnedByOther : Claim::Failed;
}

bool DownloadList::release(qint64 id)
{
    return changing(Lasting::ThisRunOfTheMachine, [&] {
        const ProcessIdentity me = ProcessIdentity::current();
        return changesOne(u"UPDATE downloads SET owner_pid = NULL, owner_start_time = NULL, owner_boot_id = NULL "
                          u"WHERE id = ? AND owner_pid = ? AND owner_start_time = ? AND owner_boot_id IS ?"_s,
                          {id, me.pid, me.startTime, me.bootId});
    });
}

ProcessIdentity DownloadList::ownerOf(qint64 id, bool *found)
{
    auto row = m_rows->run(u"SELECT owner_pid, owner_start_time, owner_boot_id FROM downloads WHERE id = ?"_s, {id});
    *found = row && row->next();
    if (!*found)
        return {};
    return {row->value(0).toNumber(), row->value(1).toNumber(), row->value(2).toText()};
}

/// Inside of a transaction. That a list begun anew in place of a damaged one lacks a download is nobody's doing.
/// @param lost gets who has it now
bool DownloadList::isOurs(qint64 id, qint64 fence, Failure *lost)
{
    const std::optional<qint64> newest = fence != 0 ? ListRows::fence(*m_rows, id) : fence;
    if (!newest || *newest == fence)
        return newest.has_value();
    bool isThere = false;
    const ProcessIdentity owner = ownerOf(id, &isThere);
    if (isThere || !m_isNewOne)
        *lost = Failure::make(Failure::Kind::OwnedByOther, Failure::Subject::of(id), {}, int(owner.pid));
    return false;
}

Failure DownloadList::lostTo(qint64 id, qint64 fence)
{
    Failure lost;
    reading([&] { return isOurs(id, fence, &lost) || lost; });
    return lost;
}

bool DownloadList::setOwner(qint64 id, const ProcessIdentity &owner)
{
    SqlValues values(3);
    if (!owner.isNobody())
        values = {owner.pid, owner.startTime, owner.bootId};
    m_isOwner = m_isOwner || (!owner.isNobody() && Owners::renew(*m_rows));
    return changesOne(
        u"UPDATE downloads SET owner_pid = ?, owner_start_time = ?, owner_boot_id = ?, fence = coalesce(fence, 0) + 1 "
        u"WHERE id = ?"_s,
        values + SqlValues{id});
}

void DownloadList::setWait(int ms)
{
    if (isOpen())
        m_database->setWait(ms < 0 ? SqlDatabase::kWaitMs : ms);
}

/// Nobody waits for it: where it fails, the next one makes up for it.
bool DownloadList::renewClaims()
{
    return !isOpen() || !m_isOwner || changing(Lasting::ThisRunOfTheMachine, [this] { return Owners::renew(*m_rows); });
}
