// SPDX-License-Identifier: MIT
#pragma once

#include <host/policy/failure.h>
#include <host/storage/schemacheck.h>

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

class SqlDatabase;

/// The tables of the list and their versions, which SQLite keeps in "user_version".
///
///     downloads 1 ─── n files 1 ─── n sections
///               1 ─── n mirrors, cookies, headers, secret_headers
///               1 ─ 0..1 options
///               n ─ 0..1 owners, by what an owner is known by
namespace Schema
{

/// What this program writes.
extern const int kVersion;

/// SchemaCheck's, of what the tables of kVersion are made of.
extern const QByteArray kFingerprint;

/// Answers to upgrade().
enum class Outcome {
    Done, ///< the tables have kVersion
    OfLaterVersion, ///< the file was written by a later version: it is to be left alone
    OfAnotherProgram, ///< the file is none of this program's: it is to be left alone
    Damaged, ///< it is a list, or was, and not one that can be worked with
    Full, ///< the disk is
    Failed, ///< the database did not do what it was told; that says nothing of what is in it
};

/// What there is, before anything is done to it.
struct Finding {
    Outcome outcome = Outcome::Done; ///< Done: the tables are those of the version
    int version = 0; ///< that the file claims to have; 0 = no tables yet
    QList<Clause> flaws; ///< all that is wrong, when it is damaged
    Clause reason; ///< as that of upgrade()
};

/// Changes nothing. Inside of a transaction version and tables are of one moment.
Finding look(const SqlDatabase &database);

/// Of the tables "headers" and "secret_headers": which names may stand in the first one with their values, as a list
/// for SQL's IN, and which in neither. As they were when the second one came.
QString harmlessNames();
QString refusedNames();

/// The statement that gives all rows the keys by which pages are sorted: of what stands in the tables.
QString sortKeysUpdate();

/// What a step took out of the tables leaves the file, too, and what lies beside it: done by upgrade(), and tried again
/// with each one while it fails, because somebody else is at work.
void wipe(const SqlDatabase &database);

/// Brings the tables from whatever version they have to kVersion, in one transaction.
/// Tables that are not those of the version that they claim to have are damage, and are left as they are.
/// @param reason gets why it is not Done
Outcome upgrade(const SqlDatabase &database, Clause *reason);

/// What a person can do about a list of which that came.
QList<Failure::Remedy> remediesOf(Outcome outcome);

/// What the tables of a version are made of. @param version 0 to kVersion
const QList<SchemaCheck::Object> &objects(int version);

/// Whether a list that was whole when it was opened still has its tables. True, too, when nobody can say.
bool isWhole(const SqlDatabase &database);

}
