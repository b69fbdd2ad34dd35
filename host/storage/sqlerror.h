// SPDX-License-Identifier: MIT
#pragma once

#include <host/parsing/clause.h>

#include <QString>

struct sqlite3;

/// Why a database did not do what it was told.
struct SqlError {
    int number = 0; ///< SQLite's own, the extended one; 0 = no error
    QString text; ///< in SQLite's words
    QString column = {}; ///< that held what it cannot hold; SQLite did not mind. Empty = that is not it

    /// Of the call that failed last. @param database null = none is open
    static SqlError of(sqlite3 *database);

    /// For people.
    Clause clause() const;
    bool isValid() const { return number != 0; }
    /// Somebody else had the database for longer than is waited.
    bool isInUse() const;
    /// The disk is.
    bool isFull() const;
};
