// SPDX-License-Identifier: MIT
#include <host/storage/listrepair.h>

#include <host/storage/damagedlist.h>
#include <host/storage/downloadlist.h>
#include <host/storage/listcheck.h>
#include <host/storage/salvage.h>
#include <host/storage/sqldatabase.h>

using namespace Qt::StringLiterals;

namespace
{

using ListRepair::Report;

Report refusal(const Failure &failure)
{
    Report report;
    report.failure = failure;
    return report;
}

Failure failureOf(Failure::Kind kind, const QString &path, const Clause &reason)
{
    Failure failure = Failure::make(kind, {}, reason);
    failure.subject.path = path;
    return failure;
}

Failure inUse(const ListCheck::Findings &findings, const QString &listPath)
{
    Failure failure = failureOf(
        Failure::Kind::CannotRepairList, listPath,
        {Clause::Kind::ProcessAtWork, {QString::number(findings.runningPid), QString::number(findings.runningId)}});
    failure.remedies = {Failure::Remedy::TryLater, Failure::Remedy::StopFirst};
    return failure;
}

/// The list is opened as always, so that it is there, whole and of this version.
Report salvage(const QString &damagedPath, const QString &listPath)
{
    Report report;
    report.from = damagedPath;
    DownloadList list;
    if (!list.open(listPath))
        return refusal(list.lastFailure());
    report.warning = list.warning();
    SqlDatabase database;
    if (!database.open(listPath, SqlDatabase::Access::WriteAndAttach))
        return refusal(failureOf(Failure::Kind::CannotOpenList, listPath, database.lastError().clause()));
    database.run(u"PRAGMA foreign_keys = ON"_s);
    Salvage salvage(database);
    if (!salvage.run(damagedPath)) {
        report.failure = failureOf(Failure::Kind::CannotReadList, damagedPath, salvage.reason());
        report.failure.remedies = salvage.remedies();
    }
    report.brought = salvage.brought();
    report.present = salvage.present();
    report.lost = salvage.lost();
    report.remarks += salvage.remarks();
    return report;
}

}

ListRepair::Report ListRepair::repair(const QString &listPath)
{
    const quint64 inode = DamagedList::inodeOf(listPath);
    const ListCheck::Findings findings = ListCheck::look(listPath);
    if (findings.failure)
        return refusal(findings.failure);
    Report whole;
    whole.wasWhole = findings.problems.isEmpty();
    if (whole.wasWhole)
        return whole;
    if (findings.runningId != 0)
        return refusal(inUse(findings, listPath));
    QString newPath;
    const QString reason = DamagedList::setAside(listPath, inode, &newPath);
    if (!reason.isEmpty() || newPath.isEmpty())
        return refusal(failureOf(
            Failure::Kind::CannotRepairList, listPath,
            {Clause::Kind::CannotSetAside, {}, reason.isEmpty() ? Clause::Kind::JustSetAside : Clause(reason)}));
    Report report = salvage(newPath, listPath);
    report.wasSetAside = true;
    return report;
}

ListRepair::Report ListRepair::bringOver(const QString &damagedPath, const QString &listPath)
{
    const quint64 inode = DamagedList::inodeOf(damagedPath);
    if (inode != 0 && inode == DamagedList::inodeOf(listPath))
        return repair(listPath);
    const Clause obstacle = DamagedList::obstacleAt(damagedPath);
    if (!obstacle.isEmpty() || inode == 0)
        return refusal(failureOf(Failure::Kind::CannotReadList, damagedPath,
                                 obstacle.isEmpty() ? Clause::Kind::NoSuchFile : obstacle));
    return salvage(damagedPath, listPath);
}
