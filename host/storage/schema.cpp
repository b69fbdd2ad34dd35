// SPDX-License-Identifier: MIT
#include <host/storage/schema.h>

#include <host/storage/damagedlist.h>
#include <host/storage/preparedstatements.h>
#include <host/storage/schemasteps.h>
#include <host/storage/sqldatabase.h>
#include <host/storage/sqltransaction.h>

#include <array>
#include <iterator>
#include <mutex>
#include <optional>

using namespace Qt::StringLiterals;

namespace
{

/// "plai": by it a list is told from another program's database.
constexpr int kApplicationId = 0x706c6169;

using namespace SchemaSteps;

/// Of another version it would be no flaw. It is there from the step that took something out to the wipe.
constexpr QStringView kWipeIsDue = u"CREATE TABLE IF NOT EXISTS wipe_due (version INTEGER)";

/// Nothing, and a reason, when the query failed.
std::optional<int> readNumber(const SqlDatabase &database, const QString &statement, SqlError *error)
{
    SqlStatement row = database.run(statement);
    if (row.next())
        return row.value(0).toInt();
    *error = row.lastError();
    return std::nullopt;
}

bool run(const SqlDatabase &database, const QString &statement, SqlError *error)
{
    const SqlStatement done = database.run(statement);
    *error = done.lastError();
    return bool(done);
}

bool migrate(const SqlDatabase &database, const Migration &migration, SqlError *error)
{
    for (std::size_t i = 0; i < migration.count; ++i) {
        QString statement = migration.statements[i].toString();
        statement.replace("<harmless>"_L1, Schema::harmlessNames()).replace("<refused>"_L1, Schema::refusedNames());
        if (!run(database, statement, error))
            return false;
    }
    return true;
}

/// Made in a database of their own, so that SQLite's own words for them can be compared.
QList<SchemaCheck::Object> makeObjects(int version)
{
    SqlDatabase database;
    database.open(SqlDatabase::inMemory());
    SqlError error;
    for (int i = 0; i < version; ++i)
        migrate(database, kMigrations[i], &error);
    return SchemaCheck::objectsOf(database, &error);
}

/// The statements that lead here are right for every database: SQLite complains of them when the file is not.
Schema::Finding trouble(const SqlError &error)
{
    const Clause text = error.clause();
    if (error.isFull())
        return {Schema::Outcome::Full, 0, {}, text};
    if (DamagedList::suspicionOf(error) == DamagedList::Suspicion::None)
        return {Schema::Outcome::Failed, 0, {}, text};
    return {Schema::Outcome::Damaged, 0, {text}, text};
}

/// To make the tables only to hold others against them takes longer than all else that is done to open a list.
QList<Clause> flawsOf(const QList<SchemaCheck::Object> &found, int version)
{
    const bool isNew = version == 0 && found.isEmpty();
    if (isNew || (version == Schema::kVersion && SchemaCheck::fingerprint(found) == Schema::kFingerprint))
        return {};
    if (version < 0)
        return {Clause(Clause::Kind::TablesOfVersion, {QString::number(version)})};
    return SchemaCheck::flaws(found, Schema::objects(version))
        + SchemaCheck::early(found, Schema::objects(version), Schema::objects(Schema::kVersion));
}

/// Version and tables as they are at one moment: another process may be about to change both.
Schema::Finding lookAtOneMoment(const SqlDatabase &database, PreparedStatements &statements)
{
    const SqlTransaction transaction(statements, SqlTransaction::Kind::Read);
    return transaction.isOpen() ? Schema::look(database) : trouble(transaction.lastError());
}

bool migrateFrom(const SqlDatabase &database, int version, SqlError *error)
{
    for (int i = version; i < Schema::kVersion; ++i) {
        // A list that is only made now has nothing to hide.
        const bool leavesTraces = version > 0 && kMigrations[i].takesSecretsOut;
        if (!migrate(database, kMigrations[i], error) || (leavesTraces && !run(database, kWipeIsDue.toString(), error)))
            return false;
    }
    return run(database, u"PRAGMA user_version = %1"_s.arg(Schema::kVersion), error)
        && run(database, u"PRAGMA application_id = %1"_s.arg(kApplicationId), error);
}

/// Inside of a transaction that is open.
Schema::Finding migrated(const SqlDatabase &database, SqlTransaction &transaction)
{
    // Another process may have done it while this one waited for the lock.
    const Schema::Finding before = Schema::look(database);
    SqlError error;
    if (before.outcome != Schema::Outcome::Done || before.version == Schema::kVersion)
        return before;
    if (!migrateFrom(database, before.version, &error))
        return trouble(error);
    return transaction.commit() ? Schema::Finding() : trouble(transaction.lastError());
}

}

const int Schema::kVersion = int(std::size(kMigrations));

const QByteArray Schema::kFingerprint = QByteArrayLiteral("9526abc26ab14a3c");

const QList<SchemaCheck::Object> &Schema::objects(int version)
{
    static std::array<QList<SchemaCheck::Object>, std::size(kMigrations) + 1> known;
    // Lists are opened in several threads.
    static std::mutex mutex;
    const std::lock_guard lock(mutex);
    QList<SchemaCheck::Object> &objects = known.at(std::size_t(version));
    if (objects.isEmpty() && version > 0)
        objects = makeObjects(version);
    return objects;
}

Schema::Finding Schema::look(const SqlDatabase &database)
{
    SqlError error;
    const std::optional<int> version = readNumber(database, u"PRAGMA user_version"_s, &error);
    const std::optional<int> applicationId = readNumber(database, u"PRAGMA application_id"_s, &error);
    if (!version || !applicationId)
        return trouble(error);
    if (*version > kVersion)
        return {Outcome::OfLaterVersion,
                *version,
                {},
                {Clause::Kind::OfLaterTables, {QString::number(*version), QString::number(kVersion)}}};
    const QList<SchemaCheck::Object> found = SchemaCheck::objectsOf(database, &error);
    if (error.isValid())
        return trouble(error);
    if (*applicationId != kApplicationId && !found.isEmpty())
        return {Outcome::OfAnotherProgram, *version, {}, Clause::Kind::OfAnotherProgram};
    const QList<Clause> flaws = flawsOf(found, *version);
    return {flaws.isEmpty() ? Outcome::Done : Outcome::Damaged, *version, flaws, flaws.value(0)};
}

Schema::Outcome Schema::upgrade(const SqlDatabase &database, Clause *reason)
{
    PreparedStatements statements(database);
    Finding finding = lookAtOneMoment(database, statements);
    if (finding.outcome == Outcome::Done && finding.version != kVersion) {
        SqlTransaction transaction(statements, SqlTransaction::Kind::Write);
        finding = transaction.isOpen() ? migrated(database, transaction) : trouble(transaction.lastError());
    }
    *reason = finding.reason;
    if (finding.outcome == Outcome::Done)
        wipe(database);
    return finding.outcome;
}

QList<Failure::Remedy> Schema::remediesOf(Outcome outcome)
{
    using Remedy = Failure::Remedy;
    if (outcome == Outcome::OfLaterVersion)
        return {Remedy::NewerProgram};
    if (outcome == Outcome::Full)
        return {Remedy::MakeRoom, Remedy::OtherList};
    return outcome == Outcome::OfAnotherProgram ? QList{Remedy::MoveAway, Remedy::OtherList} : QList<Remedy>();
}

QString Schema::harmlessNames()
{
    return kHarmlessNames.toString();
}

QString Schema::refusedNames()
{
    return kRefusedNames.toString();
}

QString Schema::sortKeysUpdate()
{
    return kSortKeys.toString();
}

/// Rows that were deleted before are still in free places of pages, and earlier states of pages in the log beside the
/// file. One makes a file without free places, the other puts it in the place of the old one and empties the log.
void Schema::wipe(const SqlDatabase &database)
{
    SqlError error;
    const auto isDue = readNumber(database, u"SELECT count(*) FROM sqlite_master WHERE name = 'wipe_due'"_s, &error);
    if (isDue.value_or(0) == 0 || !run(database, u"VACUUM"_s, &error))
        return;
    // Busy, or done.
    if (readNumber(database, u"PRAGMA wal_checkpoint(TRUNCATE)"_s, &error).value_or(1) == 0)
        run(database, u"DROP TABLE wipe_due"_s, &error);
}

bool Schema::isWhole(const SqlDatabase &database)
{
    PreparedStatements statements(database);
    const Finding finding = lookAtOneMoment(database, statements);
    // What cannot be read at this moment, and what a later version made of it, is no damage.
    const bool isOfThisVersion = finding.outcome == Outcome::Done && finding.version == kVersion;
    const bool isNothingSaid = finding.outcome == Outcome::Failed || finding.outcome == Outcome::Full
        || finding.outcome == Outcome::OfLaterVersion || finding.outcome == Outcome::OfAnotherProgram;
    return isOfThisVersion || isNothingSaid;
}
