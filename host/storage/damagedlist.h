// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QtGlobal>

class QSqlDatabase;
class QSqlError;

/// A database that cannot be read any more: how it is known, and where it goes. Nothing of it is ever deleted.
namespace DamagedList
{

/// SQLite says that the file is no database, or that its content is not what it should be.
bool isDamage(const QSqlError &error);

/// Reads a row of each table and says whether SQLite had to say so. Quick, and sees only part of what may be wrong.
bool looksDamaged(const QSqlDatabase &database);
/// Reads everything: for when there is a reason to.
bool isDamaged(const QSqlDatabase &database);

/// By it a file is known, whatever its name; 0 = there is none.
quint64 inodeOf(const QString &path);

/// Gives the file and those that SQLite keeps beside it another name. Nobody else may do so at the same moment, and a
/// file that is not the one meant stays: another process was quicker. The database has to be closed.
/// @param inode of the file meant @param newPath gets the new name; empty when it was not this process that did it
/// @return empty, or why it did not work
QString setAside(const QString &path, quint64 inode, QString *newPath);

}
