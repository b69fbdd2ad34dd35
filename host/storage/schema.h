// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

class QSqlDatabase;

/// The tables of the list and their versions, which SQLite keeps in "user_version".
///
///     downloads 1 ─── n files 1 ─── n sections
///               1 ─── n mirrors, cookies, headers
namespace Schema
{

/// What this program writes.
extern const int kVersion;

/// Brings the tables from whatever version they have to kVersion, in one transaction. False, with a sentence, when that
/// fails or the list is of a later version.
bool upgrade(const QSqlDatabase &database, QString *errorText);

}
