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
        return {SQLITE_MISUSE, u"the database is not open"_s};
    return {sqlite3_extended_errcode(database), QString(static_cast<const QChar *>(sqlite3_errmsg16(database)))};
}

bool SqlError::isInUse() const
{
    return (number & kPrimary) == SQLITE_BUSY || (number & kPrimary) == SQLITE_LOCKED;
}

bool SqlError::isFull() const
{
    return (number & kPrimary) == SQLITE_FULL;
}
