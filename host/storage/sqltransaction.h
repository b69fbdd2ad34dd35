// SPDX-License-Identifier: MIT
#pragma once

#include <host/storage/sqlerror.h>

class PreparedStatements;

/// A transaction that is taken back unless commit() succeeds.
class SqlTransaction
{
    Q_DISABLE_COPY_MOVE(SqlTransaction)

public:
    enum class Kind {
        Read, ///< sees one state of the tables, waits for nobody
        Write, ///< takes the lock at once: a reader that turns writer half-way would fail instead of waiting for it
    };

    SqlTransaction(PreparedStatements &statements, Kind kind);
    ~SqlTransaction();

    bool isOpen() const { return m_open; }
    bool commit();
    /// Why isOpen() or commit() is false.
    SqlError lastError() const { return m_error; }

private:
    bool run(const QString &statement);

    PreparedStatements &m_statements;
    SqlError m_error;
    bool m_open = false;
};
