// SPDX-License-Identifier: MIT
#include <host/storage/sqlstatement.h>

#include <sqlite3.h>

#include <utility>

namespace
{

QString textIn(sqlite3_stmt *statement, int column)
{
    const auto *const text = static_cast<const QChar *>(sqlite3_column_text16(statement, column));
    const int size = sqlite3_column_bytes16(statement, column) / int(sizeof(QChar));
    return text ? QString(text, size) : QString();
}

/// SQLite has no address for what is empty.
QByteArray bytesIn(sqlite3_stmt *statement, int column)
{
    const auto *const bytes = static_cast<const char *>(sqlite3_column_blob(statement, column));
    return bytes ? QByteArray(bytes, sqlite3_column_bytes(statement, column)) : QByteArrayLiteral("");
}

}

void SqlStatement::Finalizer::operator()(sqlite3_stmt *statement) const
{
    sqlite3_finalize(statement);
}

bool SqlStatement::run(const SqlValues &values)
{
    finish();
    if (!m_statement)
        return false;
    Q_ASSERT_X(values.size() == sqlite3_bind_parameter_count(m_statement.get()), sqlite3_sql(m_statement.get()),
               "one value for each mark");
    m_error = {};
    m_values = values;
    int position = 0;
    for (const SqlValue &value : std::as_const(m_values)) {
        if (!bind(++position, value)) {
            fail();
            return false;
        }
    }
    step(State::AtFirst);
    return bool(*this);
}

bool SqlStatement::bind(int position, const SqlValue &value)
{
    sqlite3_stmt *const statement = m_statement.get();
    switch (value.kind()) {
    case SqlValue::Kind::Nothing:
        return sqlite3_bind_null(statement, position) == SQLITE_OK;
    case SqlValue::Kind::Number:
        return sqlite3_bind_int64(statement, position, std::get<qint64>(value.m_value)) == SQLITE_OK;
    case SqlValue::Kind::Real:
        return sqlite3_bind_double(statement, position, std::get<double>(value.m_value)) == SQLITE_OK;
    case SqlValue::Kind::Text: {
        const auto &text = std::get<QString>(value.m_value);
        return sqlite3_bind_text64(statement, position, reinterpret_cast<const char *>(text.utf16()),
                                   quint64(text.size()) * sizeof(QChar), SQLITE_STATIC, SQLITE_UTF16)
            == SQLITE_OK;
    }
    case SqlValue::Kind::Bytes:
        break;
    }
    const auto &bytes = std::get<QByteArray>(value.m_value);
    return sqlite3_bind_blob64(statement, position, bytes.constData(), quint64(bytes.size()), SQLITE_STATIC)
        == SQLITE_OK;
}

bool SqlStatement::next()
{
    if (m_state == State::AtFirst)
        m_state = State::AtRow;
    else if (m_state == State::AtRow)
        step(State::AtRow);
    return m_state == State::AtRow;
}

/// @param atRow what it is in when there is one
void SqlStatement::step(State atRow)
{
    const int answer = sqlite3_step(m_statement.get());
    if (answer == SQLITE_ROW) {
        m_state = atRow;
    } else if (answer == SQLITE_DONE) {
        m_state = State::AtEnd;
        sqlite3_reset(m_statement.get());
    } else {
        fail();
    }
}

void SqlStatement::fail()
{
    m_error = SqlError::of(sqlite3_db_handle(m_statement.get()));
    m_state = State::Failed;
    sqlite3_reset(m_statement.get());
}

SqlValue SqlStatement::value(int column) const
{
    sqlite3_stmt *const statement = m_statement.get();
    switch (sqlite3_column_type(statement, column)) {
    case SQLITE_INTEGER:
        return qint64(sqlite3_column_int64(statement, column));
    case SQLITE_FLOAT:
        return sqlite3_column_double(statement, column);
    case SQLITE_TEXT:
        return textIn(statement, column);
    case SQLITE_BLOB:
        return bytesIn(statement, column);
    default:
        return {};
    }
}

void SqlStatement::finish()
{
    if (!m_statement || m_state == State::Idle)
        return;
    sqlite3_reset(m_statement.get());
    sqlite3_clear_bindings(m_statement.get());
    m_values.clear();
    m_state = State::Idle;
}

qint64 SqlStatement::changes() const
{
    return sqlite3_changes64(sqlite3_db_handle(m_statement.get()));
}

qint64 SqlStatement::insertedId() const
{
    return sqlite3_last_insert_rowid(sqlite3_db_handle(m_statement.get()));
}
