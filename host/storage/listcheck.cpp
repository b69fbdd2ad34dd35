// SPDX-License-Identifier: MIT
#include <host/storage/listcheck.h>

#include <host/storage/damagedlist.h>
#include <host/storage/listrows.h>
#include <host/storage/owners.h>
#include <host/storage/processidentity.h>
#include <host/storage/recordrows.h>
#include <host/storage/schema.h>
#include <host/storage/sqldatabase.h>
#include <host/storage/sqltransaction.h>

#include <QFile>

using namespace Qt::StringLiterals;

namespace
{

using ListCheck::Findings;

constexpr int kMostComplaints = 20; ///< of SQLite's own check

Failure unreadable(const Clause &reason, const QList<Failure::Remedy> &remedies = {})
{
    Failure failure = Failure::make(Failure::Kind::CannotReadList, {}, reason);
    failure.remedies = remedies;
    return failure;
}

/// @param value what it says besides why
void notice(Findings &findings, const SqlError &error, Clause::Kind what, const QStringList &value = {})
{
    if (DamagedList::suspicionOf(error) == DamagedList::Suspicion::None)
        findings.failure = unreadable(error.clause());
    else
        findings.problems.append(Clause(what, value, error.clause()));
}

void checkContent(const SqlDatabase &database, Findings &findings)
{
    SqlStatement check = database.run(u"PRAGMA integrity_check(%1)"_s.arg(kMostComplaints));
    while (check.next()) {
        const QString complaint = check.value(0).toText();
        if (complaint != "ok"_L1)
            findings.problems.append(Clause(Clause::Kind::SaidByCheck, {}, complaint.simplified()));
    }
    if (check.lastError().isValid())
        notice(findings, check.lastError(), Clause::Kind::FileNotChecked);
}

void checkStrays(const SqlDatabase &database, Findings &findings)
{
    SqlStatement strays =
        database.run(u"SELECT \"table\", count(*) FROM pragma_foreign_key_check GROUP BY \"table\""_s);
    while (strays.next())
        findings.problems.append(Clause(Clause::Kind::StrayRows, {strays.value(0).toText(), strays.value(1).toText()}));
}

void checkRecord(RecordRows &rows, qint64 id, Findings &findings)
{
    const RecordRows::Records records = rows.select(u"id = ?"_s, {id});
    if (records && ListRows::options(rows, id))
        ++findings.downloads;
    else
        notice(findings, rows.lastError(), Clause::Kind::DownloadUnreadable, {QString::number(id)});
}

void checkRecords(RecordRows &rows, Findings &findings)
{
    auto ids = rows.run(u"SELECT id FROM downloads NOT INDEXED ORDER BY id"_s, {});
    while (ids && !findings.failure && ids->next())
        checkRecord(rows, ids->value(0).toNumber(), findings);
    if (!ids || !rows.wasReadWhole(ids))
        notice(findings, rows.lastError(), Clause::Kind::DownloadsUnreadable);
}

void findRunning(RecordRows &rows, Findings &findings)
{
    auto owners = rows.run(
        u"SELECT id, owner_pid, owner_start_time, owner_boot_id FROM downloads WHERE owner_pid IS NOT NULL"_s, {});
    while (owners && owners->next()) {
        const ProcessIdentity owner{owners->value(1).toNumber(), owners->value(2).toNumber(),
                                    owners->value(3).toText()};
        if (!owner.isNobody() && Owners::isAlive(rows, owner)) {
            findings.runningId = owners->value(0).toNumber();
            findings.runningPid = owner.pid;
        }
    }
}

/// Why the file is none to open; none = it is.
Failure refusalOf(const QString &path)
{
    const Clause obstacle = DamagedList::obstacleAt(path);
    if (!obstacle.isEmpty())
        return unreadable(obstacle, {Failure::Remedy::MoveAway, Failure::Remedy::OtherList});
    if (!QFile::exists(path))
        return unreadable(Clause::Kind::NoSuchFile);
    // A list that was set aside has another ending, and may have lost its beginning.
    const bool isSetAside = path.contains(".sqlite.damaged-"_L1);
    return isSetAside || DamagedList::mayBeList(path) ? Failure() : unreadable(Clause::Kind::NoList);
}

/// As it is at one moment, while others work on it.
void lookInto(const SqlDatabase &database, Findings &findings)
{
    RecordRows rows(database);
    const SqlTransaction transaction(rows.statements(), SqlTransaction::Kind::Read);
    const Schema::Finding schema = Schema::look(database);
    if (schema.outcome != Schema::Outcome::Done && schema.outcome != Schema::Outcome::Damaged) {
        findings.failure = unreadable(schema.reason, Schema::remediesOf(schema.outcome));
        return;
    }
    findings.downloads = 0;
    findings.problems = schema.flaws;
    checkContent(database, findings);
    checkStrays(database, findings);
    findRunning(rows, findings);
    if (schema.version == Schema::kVersion && schema.outcome == Schema::Outcome::Done)
        checkRecords(rows, findings);
}

}

ListCheck::Findings ListCheck::look(const QString &path)
{
    Findings findings;
    findings.failure = refusalOf(path);
    SqlDatabase database;
    if (!findings.failure && !database.open(path, SqlDatabase::Access::Look))
        findings.failure = unreadable(database.lastError().clause());
    if (!findings.failure)
        lookInto(database, findings);
    if (findings.failure)
        findings.failure.subject.path = path;
    return findings;
}
