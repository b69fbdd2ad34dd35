// SPDX-License-Identifier: MIT
#include <host/storage/owners.h>

#include <host/storage/processidentity.h>
#include <host/storage/recordrows.h>

#include <QDateTime>
#include <QSysInfo>

using namespace Qt::StringLiterals;

namespace
{

/// Rows of those that have long gone are in nobody's way, and no use.
constexpr qint64 kForgottenAfterSeconds = 24 * 60 * 60;

/// One that renews is never so far ahead; one that is was written by a clock that was wrong.
constexpr qint64 kFarAheadSeconds = 2 * Owners::kLeaseSeconds;

}

bool Owners::renew(RecordRows &rows)
{
    const qint64 now = QDateTime::currentSecsSinceEpoch();
    const ProcessIdentity me = ProcessIdentity::current();
    return rows.run(u"DELETE FROM owners WHERE until < ?"_s, {now - kForgottenAfterSeconds})
        && rows.run(
            u"INSERT OR REPLACE INTO owners (boot_id, pid, start_time, machine, until) VALUES (?, ?, ?, ?, ?)"_s,
            {me.bootId, me.pid, me.startTime, QSysInfo::machineHostName(), now + kLeaseSeconds});
}

/// A machine's own id proves nothing: copies of one image share it.
bool Owners::isAlive(RecordRows &rows, const ProcessIdentity &owner, int *secondsLeft)
{
    if (secondsLeft)
        *secondsLeft = 0;
    if (owner.isNobody() || owner.isHere())
        return owner.isAlive();
    auto row = rows.run(u"SELECT until FROM owners WHERE boot_id = ? AND pid = ? AND start_time = ?"_s,
                        {owner.bootId, owner.pid, owner.startTime});
    const qint64 left = row && row->next() ? row->value(0).toNumber() - QDateTime::currentSecsSinceEpoch() : 0;
    const bool isOwner = left > 0 && left <= kFarAheadSeconds;
    if (isOwner && secondsLeft)
        *secondsLeft = int(left);
    return isOwner;
}
