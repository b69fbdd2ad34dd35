// SPDX-License-Identifier: MIT
#include <host/storage/sqlerror.h>

#include <sqlite3.h>

using namespace Qt::StringLiterals;

SqlError SqlError::of(sqlite3 *database)
{
    if (!database)
        return {SQLITE_MISUSE, u"the database is not open"_s};
    return {sqlite3_extended_errcode(database), QString(static_cast<const QChar *>(sqlite3_errmsg16(database)))};
}

bool SqlError::isInUse() const
{
    constexpr int kPrimary = 0xff;
    return (number & kPrimary) == SQLITE_BUSY || (number & kPrimary) == SQLITE_LOCKED;
}
