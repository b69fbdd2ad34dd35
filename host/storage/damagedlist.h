// SPDX-License-Identifier: MIT
#pragma once

#include <host/parsing/clause.h>

#include <QString>
#include <QtGlobal>

class SqlDatabase;
struct SqlError;

/// A database that cannot be read any more: how it is known, and where it goes. Nothing of it is ever deleted.
namespace DamagedList
{

/// What an error makes one think of the file.
enum class Suspicion {
    None, ///< a list in use, a full disk, a file that cannot be written: nothing is wrong with what is in it
    Tables, ///< a right statement was refused: the tables, or what hangs on them, may not be those of a list
    Content, ///< SQLite says that the file is no database, or that its content is not what it should be
};

/// By SQLite's own number for the error. No error at all is suspicious where there should have been an effect.
Suspicion suspicionOf(const SqlError &error);
/// The suspicion is Content.
bool isDamage(const SqlError &error);

/// Whoever names a file as the list by mistake is to find it as it was: what is no database at all counts as a damaged
/// one only under a database's name.
bool mayBeList(const QString &path);

/// Why what lies at a list's name, or at those of the files that SQLite keeps beside it, cannot be opened: a clause
/// that says what it is; empty = it can, or nothing is there. Looks, opens nothing.
Clause obstacleAt(const QString &path);

/// Reads a row of each table and says whether SQLite had to say so. Quick, and sees only part of what may be wrong.
bool looksDamaged(const SqlDatabase &database);
/// Reads everything: for when there is a reason to.
bool isDamaged(const SqlDatabase &database);
/// Whether the database bears out what the error makes one think: reads as much as that takes.
bool isConfirmed(const SqlDatabase &database, const SqlError &error);

/// By it a file is known, whatever its name; 0 = there is none.
quint64 inodeOf(const QString &path);

/// Gives the file and those that SQLite keeps beside it another name. Nobody else may do so at the same moment, and a
/// file that is not the one meant stays: another process was quicker. The database has to be closed.
/// @param inode of the file meant @param newPath gets the new name; empty when it was not this process that did it
/// @return empty, or why it did not work
QString setAside(const QString &path, quint64 inode, QString *newPath);

}
