// SPDX-License-Identifier: MIT
#include <tests/unit/host/storage/shell.h>

#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>

using namespace Qt::StringLiterals;

namespace
{

const QString kName = u"shell"_s;

QStringList columnsOf(const QString &table)
{
    QSqlQuery query(QSqlDatabase::database(kName));
    query.exec(u"PRAGMA table_info(%1)"_s.arg(table));
    QStringList names;
    while (query.next())
        names.append(query.value(1).toString());
    return names;
}

}

Shell::Shell(const QString &path)
{
    QSqlDatabase database = QSqlDatabase::addDatabase(u"QSQLITE"_s, kName);
    database.setDatabaseName(path);
    database.open();
}

Shell::~Shell()
{
    QSqlDatabase::removeDatabase(kName);
}

QVariant Shell::value(const QString &statement) const
{
    QSqlQuery query(QSqlDatabase::database(kName));
    if (!query.exec(statement))
        return query.lastError().text();
    return query.next() ? query.value(0) : QVariant();
}

QStringList Shell::planOf(const QString &statement) const
{
    QSqlQuery query(QSqlDatabase::database(kName));
    QStringList plan;
    query.prepare(u"EXPLAIN QUERY PLAN "_s + statement);
    for (qsizetype i = statement.count(u'?'); i > 0; --i)
        query.addBindValue(QVariant());
    if (!query.exec())
        plan.append(u"SCAN? "_s + query.lastError().text());
    while (query.next())
        plan.append(query.value(3).toString());
    return plan;
}

bool Shell::multiply(qint64 id, int count) const
{
    QSqlDatabase database = QSqlDatabase::database(kName);
    bool done = database.transaction();
    for (const QString &table : {u"downloads"_s, u"files"_s, u"sections"_s}) {
        QStringList columns = columnsOf(table);
        const QString key = table == "downloads"_L1 ? u"id"_s : u"download_id"_s;
        columns.removeOne(key);
        const QString names = columns.join(u", "_s);
        const QString statement =
            u"WITH RECURSIVE n (i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < %1) "
            u"INSERT INTO %2 (%3, %4) SELECT %5 + n.i, %4 FROM n CROSS JOIN (SELECT * FROM %2 WHERE %3 = %5)"_s.arg(
                QString::number(count), table, key, names, QString::number(id));
        done = done && QSqlQuery(database).exec(statement);
    }
    return done && database.commit();
}
