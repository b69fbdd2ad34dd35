// SPDX-License-Identifier: MIT
#include <host/storage/listrepair.h>

#include <host/storage/damagedlist.h>
#include <host/storage/downloadlist.h>
#include <host/storage/listcheck.h>
#include <host/storage/salvage.h>
#include <host/storage/sqldatabase.h>

#include <QDir>
#include <QFile>

using namespace Qt::StringLiterals;

namespace
{

using ListRepair::Report;

Report refusal(const QString &text)
{
    Report report;
    report.errorText = text;
    return report;
}

/// The list is opened as always, so that it is there, whole and of this version.
Report salvage(const QString &damagedPath, const QString &listPath)
{
    Report report;
    report.from = damagedPath;
    DownloadList list;
    if (!list.open(listPath))
        return refusal(list.lastErrorText());
    if (!list.warning().isEmpty())
        report.remarks.append(list.warning());
    SqlDatabase database;
    if (!database.open(listPath, SqlDatabase::Access::WriteAndAttach))
        return refusal(database.lastError().text);
    database.run(u"PRAGMA foreign_keys = ON"_s);
    Salvage salvage(database);
    if (!salvage.run(damagedPath))
        report.errorText =
            u"nothing can be read of \"%1\": %2"_s.arg(QDir::toNativeSeparators(damagedPath), salvage.errorText());
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
    if (!findings.errorText.isEmpty())
        return refusal(findings.errorText);
    Report whole;
    whole.wasWhole = findings.problems.isEmpty();
    if (whole.wasWhole)
        return whole;
    if (findings.runningId != 0)
        return refusal(
            u"cannot repair the list: process %1 is at work on download %2. Wait until that is done, or stop "
            u"it."_s.arg(findings.runningPid)
                .arg(findings.runningId));
    QString newPath;
    const QString reason = DamagedList::setAside(listPath, inode, &newPath);
    if (!reason.isEmpty() || newPath.isEmpty())
        return refusal(u"the list \"%1\" cannot be set aside: %2."_s.arg(
            QDir::toNativeSeparators(listPath), reason.isEmpty() ? u"another process has just done so"_s : reason));
    Report report = salvage(newPath, listPath);
    if (!report.errorText.isEmpty() && !report.from.isEmpty())
        report.errorText += u" It is kept, and a new list was begun."_s;
    return report;
}

ListRepair::Report ListRepair::bringOver(const QString &damagedPath, const QString &listPath)
{
    const quint64 inode = DamagedList::inodeOf(damagedPath);
    if (inode != 0 && inode == DamagedList::inodeOf(listPath))
        return repair(listPath);
    const QString obstacle = DamagedList::obstacleAt(damagedPath);
    if (!obstacle.isEmpty() || inode == 0)
        return refusal(u"cannot read \"%1\": %2"_s.arg(QDir::toNativeSeparators(damagedPath),
                                                       obstacle.isEmpty() ? u"there is no such file."_s : obstacle));
    return salvage(damagedPath, listPath);
}
