// SPDX-License-Identifier: MIT
#pragma once

#include <host/storage/sqlerror.h>
#include <host/storage/sqlvalue.h>

#include <QString>

#include <memory>

struct sqlite3_stmt;

/// A statement of a database, made by it. Runs as often as one likes, each time with values of its own.
///
///     run() ──> next() ──> value(), ... ──> next() is false ──> lastError() tells whether that was the end
///
/// A statement that is in the middle of its rows holds its locks until they are read, finish() or its own end. What
/// makes changes has made them when run() is done. Used in the thread of its database.
class SqlStatement
{
    Q_DISABLE_COPY(SqlStatement)

public:
    /// Of no database: fails.
    SqlStatement() = default;
    SqlStatement(SqlStatement &&other) noexcept = default;
    SqlStatement &operator=(SqlStatement &&other) noexcept = default;
    ~SqlStatement() = default;

    /// @param values one for each "?" in the text @return it did not fail
    bool run(const SqlValues &values = {});
    /// It ran, and did not fail up to now.
    explicit operator bool() const { return m_state != State::Idle && m_state != State::Failed; }
    SqlError lastError() const { return m_error; }

    /// To the first row, and on.
    bool next();
    /// Of the row. Nothing where there is no such column.
    SqlValue value(int column) const;
    /// Lets go of rows that were not read, and of the values.
    void finish();

    /// Right behind run(): rows that were changed, and the number of the one that was put in.
    qint64 changes() const;
    qint64 insertedId() const;

private:
    friend class SqlDatabase;

    enum class State {
        Idle, ///< not run since it was made or finished
        AtFirst, ///< the first row is there, and nobody has asked for it
        AtRow,
        AtEnd,
        Failed,
    };
    struct Finalizer {
        void operator()(sqlite3_stmt *statement) const;
    };

    bool bind(int position, const SqlValue &value);
    void step(State atRow);
    void fail();

    std::unique_ptr<sqlite3_stmt, Finalizer> m_statement;
    SqlValues m_values; ///< SQLite reads them where they are
    SqlError m_error;
    State m_state = State::Idle;
};
