// SPDX-License-Identifier: MIT
#pragma once

#include <host/parsing/clause.h>

#include <QByteArray>
#include <QList>
#include <QString>

class SqlDatabase;
struct SqlError;

/// Holds the tables, indexes and triggers of a list against those that this program makes.
///
/// What a person may add without harm is none of its business: views, tables, indexes that demand nothing, columns that
/// may stay empty. Triggers on the list's own tables are: they can refuse a change, or undo it in silence.
namespace SchemaCheck
{

/// A table, index or trigger.
struct Object {
    QString type;
    QString name;
    QString table; ///< that it belongs to
    QString sql; ///< that makes it, without remarks; empty = SQLite made it by itself
};

/// In no particular order; nothing and an error when they cannot be read.
QList<Object> objectsOf(const SqlDatabase &database, SqlError *error);

/// The same for the same objects, in whatever order; for no others.
QByteArray fingerprint(const QList<Object> &objects);

/// What is wrong with those that were found; empty = nothing.
QList<Clause> flaws(const QList<Object> &found, const QList<Object> &expected);

/// What is there although it only comes with the last version.
QList<Clause> early(const QList<Object> &found, const QList<Object> &expected, const QList<Object> &last);

}
