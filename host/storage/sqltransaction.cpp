// SPDX-License-Identifier: MIT
#include <host/storage/sqltransaction.h>

#include <host/storage/preparedstatements.h>

using namespace Qt::StringLiterals;

SqlTransaction::SqlTransaction(PreparedStatements &statements, Kind kind)
    : m_statements(statements)
    , m_open(run(kind == Kind::Write ? u"BEGIN IMMEDIATE"_s : u"BEGIN"_s))
{
}

SqlTransaction::~SqlTransaction()
{
    if (m_open)
        run(u"ROLLBACK"_s);
}

bool SqlTransaction::commit()
{
    if (!m_open || !run(u"COMMIT"_s))
        return false;
    m_open = false;
    return true;
}

bool SqlTransaction::run(const QString &statement)
{
    PreparedStatements::Run run = m_statements.run(statement);
    if (!run)
        m_error = run->lastError();
    return bool(run);
}
