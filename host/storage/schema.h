// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

class QSqlDatabase;

/// The tables of the list and their versions, which SQLite keeps in "user_version".
///
///     downloads 1 ─── n files 1 ─── n sections
///               1 ─── n mirrors, cookies, headers
///               1 ─ 0..1 options
namespace Schema
{

/// What this program writes.
extern const int kVersion;

/// Answers to upgrade().
enum class Outcome {
    Done, ///< the tables have kVersion
    Refused, ///< the file is none of this program's, or of a later version: it is to be left alone
    Failed, ///< the database did not do what it was told
};

/// Brings the tables from whatever version they have to kVersion, in one transaction.
/// @param errorText gets a sentence unless it is Done
Outcome upgrade(const QSqlDatabase &database, QString *errorText);

}
