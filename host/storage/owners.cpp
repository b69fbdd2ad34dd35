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

QString thisMachine()
{
    static const QString id = QString::fromLatin1(QSysInfo::machineUniqueId());
    return id.isEmpty() ? QSysInfo::machineHostName() : id;
}

}

bool Owners::renew(RecordRows &rows)
{
    const qint64 now = QDateTime::currentSecsSinceEpoch();
    const ProcessIdentity me = ProcessIdentity::current();
    return rows.run(u"DELETE FROM owners WHERE until < ?"_s, {now - kForgottenAfterSeconds})
        && rows.run(
            u"INSERT OR REPLACE INTO owners (boot_id, pid, start_time, machine, until) VALUES (?, ?, ?, ?, ?)"_s,
            {me.bootId, me.pid, me.startTime, thisMachine(), now + kLeaseSeconds});
}

/// A process of an earlier run of this machine has gone, whatever end it gave itself.
bool Owners::isAlive(RecordRows &rows, const ProcessIdentity &owner)
{
    if (owner.isNobody() || owner.bootId == ProcessIdentity::current().bootId)
        return owner.isAlive();
    auto row = rows.run(u"SELECT machine, until FROM owners WHERE boot_id = ? AND pid = ? AND start_time = ?"_s,
                        {owner.bootId, owner.pid, owner.startTime});
    return row && row->next() && row->value(0).toText() != thisMachine()
        && row->value(1).toNumber() > QDateTime::currentSecsSinceEpoch();
}
