// SPDX-License-Identifier: MIT
#include <host/storage/sqldatabase.h>

#include <host/policy/naturalorder.h>

#include <sqlite3.h>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

QByteArray nameFor(const QString &path, SqlDatabase::Access access)
{
    return access == SqlDatabase::Access::LookAtStill ? "file:" + path.toUtf8().toPercentEncoding("/") + "?immutable=1"
                                                      : path.toUtf8();
}

/// Each connection is in one thread at a time: SQLite needs no lock around it.
int flagsFor(SqlDatabase::Access access)
{
    constexpr int kWrite = SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
    switch (access) {
    case SqlDatabase::Access::Write:
        break;
    case SqlDatabase::Access::Look:
        return SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_READONLY;
    case SqlDatabase::Access::LookAtStill:
        return SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_READONLY | SQLITE_OPEN_URI;
    case SqlDatabase::Access::WriteAndAttach:
        return kWrite | SQLITE_OPEN_URI;
    }
    return kWrite;
}

void putNaturalKey(sqlite3_context *context, int, sqlite3_value **names)
{
    const auto *const name = reinterpret_cast<const char *>(sqlite3_value_text(*names));
    const QByteArray key = NaturalOrder::key(QString::fromUtf8(name, sqlite3_value_bytes(*names))).toUtf8();
    sqlite3_result_text(context, key.constData(), int(key.size()), SQLITE_TRANSIENT);
}

}

/// Waits for statements that are still there.
void SqlDatabase::Closer::operator()(sqlite3 *handle) const
{
    sqlite3_close_v2(handle);
}

std::optional<QByteArray> SqlDatabase::beginningOf(const QString &path, int bytes)
{
    SqlDatabase database;
    sqlite3_file *file = nullptr;
    const bool isOpen = database.open(path, Access::Look)
        && sqlite3_file_control(database.m_handle.get(), nullptr, SQLITE_FCNTL_FILE_POINTER, &file) == SQLITE_OK;
    sqlite3_int64 size = 0;
    if (!isOpen || !file || !file->pMethods || file->pMethods->xFileSize(file, &size) != SQLITE_OK)
        return std::nullopt;
    QByteArray beginning(qsizetype(std::min<sqlite3_int64>(size, bytes)), '\0');
    const int answer = file->pMethods->xRead(file, beginning.data(), int(beginning.size()), 0);
    return answer == SQLITE_OK ? std::optional(beginning) : std::nullopt;
}

QString SqlDatabase::inMemory()
{
    return u":memory:"_s;
}

SqlDatabase::SqlDatabase() = default;

SqlDatabase::~SqlDatabase() = default;

bool SqlDatabase::open(const QString &path, Access access, int waitMs)
{
    sqlite3 *handle = nullptr;
    const int answer = sqlite3_open_v2(nameFor(path, access).constData(), &handle, flagsFor(access), nullptr);
    m_handle.reset(handle);
    if (answer != SQLITE_OK) {
        m_error = SqlError::of(handle);
        m_handle.reset();
        return false;
    }
    sqlite3_busy_timeout(handle, waitMs);
    sqlite3_create_function_v2(handle, "natural_key", 1, SQLITE_UTF8 | SQLITE_DETERMINISTIC | SQLITE_DIRECTONLY,
                               nullptr, &putNaturalKey, nullptr, nullptr, nullptr);
    return true;
}

void SqlDatabase::setWait(int waitMs) const
{
    sqlite3_busy_timeout(m_handle.get(), waitMs);
}

SqlStatement SqlDatabase::prepare(const QString &text, Use use) const
{
    SqlStatement statement;
    sqlite3_stmt *made = nullptr;
    const unsigned flags = use == Use::Often ? SQLITE_PREPARE_PERSISTENT : 0;
    sqlite3_prepare16_v3(m_handle.get(), text.utf16(), int((text.size() + 1) * qsizetype(sizeof(QChar))), flags, &made,
                         nullptr);
    statement.m_statement.reset(made);
    if (!made)
        statement.m_error = SqlError::of(m_handle.get());
    return statement;
}

SqlStatement SqlDatabase::run(const QString &text, const SqlValues &values) const
{
    SqlStatement statement = prepare(text, Use::Once);
    statement.run(values);
    return statement;
}
