// SPDX-License-Identifier: MIT
#pragma once

#include <host/storage/sqlerror.h>
#include <host/storage/sqlstatement.h>
#include <host/storage/sqlvalue.h>

#include <QByteArray>
#include <QString>

#include <memory>
#include <optional>

struct sqlite3;

/// A connection to an SQLite database. It knows a function natural_key (NaturalOrder::key()), for statements: tables
/// and indexes that need one of ours could not be used by the sqlite3 shell. Closed with this object; the file itself,
/// once the last of its statements has gone, too. Used in one thread at a time.
class SqlDatabase
{
    Q_DISABLE_COPY_MOVE(SqlDatabase)

public:
    enum class Access {
        Write, ///< a missing file is made
        Look, ///< nothing is ever changed; a missing file is not made
        LookAtStill, ///< the same, at a file that nobody changes: without locks and without files beside it
        WriteAndAttach, ///< other files may be attached by a "file:" address
    };
    /// How often a statement will be wanted.
    enum class Use {
        Once,
        Often,
    };

    /// So long a statement waits for somebody else to be done with the database.
    static constexpr int kWaitMs = 10000;
    /// The first bytes of a file, fewer where it has no more; nothing where it cannot be read. By SQLite's own
    /// descriptors: whoever closes another one of a file that is in use takes the locks of the whole process with it.
    static std::optional<QByteArray> beginningOf(const QString &path, int bytes);
    /// A path: of a database of its own that is in memory only.
    static QString inMemory();

    SqlDatabase();
    ~SqlDatabase();

    /// Once.
    bool open(const QString &path, Access access = Access::Write, int waitMs = kWaitMs);
    bool isOpen() const { return m_handle != nullptr; }
    /// From now on, instead of what open() was told.
    void setWait(int waitMs) const;
    /// Why open() failed.
    SqlError lastError() const { return m_error; }

    /// One that cannot be understood has an error, and fails when it runs.
    SqlStatement prepare(const QString &text, Use use = Use::Often) const;
    /// Prepared and run.
    SqlStatement run(const QString &text, const SqlValues &values = {}) const;

private:
    struct Closer {
        void operator()(sqlite3 *handle) const;
    };

    std::unique_ptr<sqlite3, Closer> m_handle; ///< null while not open
    SqlError m_error;
};
