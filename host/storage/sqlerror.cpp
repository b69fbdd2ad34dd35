// SPDX-License-Identifier: MIT
#include <host/storage/sqlerror.h>

#include <sqlite3.h>

using namespace Qt::StringLiterals;

namespace
{

/// What an extended number is a kind of.
constexpr int kPrimary = 0xff;

}

SqlError SqlError::of(sqlite3 *database)
{
    if (!database)
        return {SQLITE_MISUSE, QString::fromLatin1(sqlite3_errstr(SQLITE_MISUSE))};
    return {sqlite3_extended_errcode(database), QString(static_cast<const QChar *>(sqlite3_errmsg16(database)))};
}

Clause SqlError::clause() const
{
    return column.isEmpty() ? Clause(text.simplified()) : Clause(Clause::Kind::UnusableColumn, {column});
}

bool SqlError::isInUse() const
{
    return (number & kPrimary) == SQLITE_BUSY || (number & kPrimary) == SQLITE_LOCKED;
}

bool SqlError::isFull() const
{
    return (number & kPrimary) == SQLITE_FULL;
}
