// SPDX-License-Identifier: MIT
#include <host/storage/sqltransaction.h>

#include <QSqlQuery>

using namespace Qt::StringLiterals;

SqlTransaction::SqlTransaction(const QSqlDatabase &database, Kind kind)
    : m_database(database)
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
    QSqlQuery query(m_database);
    const bool done = query.exec(statement);
    if (!done)
        m_error = query.lastError();
    return done;
}
