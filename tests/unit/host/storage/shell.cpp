// SPDX-License-Identifier: MIT
#include <tests/unit/host/storage/shell.h>

using namespace Qt::StringLiterals;

QVariant Shell::value(const QString &statement) const
{
    const QVariant value = m_file.value(statement);
    return m_file.errorText().isEmpty() ? value : m_file.errorText();
}

QStringList Shell::planOf(const QString &statement) const
{
    QStringList plan;
    const QList<QVariantList> steps = m_file.rows(u"EXPLAIN QUERY PLAN "_s + statement);
    for (const QVariantList &step : steps)
        plan.append(step.value(3).toString());
    if (!m_file.errorText().isEmpty())
        plan.append(u"SCAN? "_s + m_file.errorText());
    return plan;
}

QStringList Shell::columnsOf(const QString &table) const
{
    QStringList names;
    const QList<QVariantList> columns = m_file.rows(u"PRAGMA table_info(%1)"_s.arg(table));
    for (const QVariantList &column : columns)
        names.append(column.value(1).toString());
    return names;
}

bool Shell::multiply(qint64 id, int count) const
{
    bool done = m_file.run(u"BEGIN"_s);
    for (const QString &table : {u"downloads"_s, u"files"_s, u"sections"_s}) {
        QStringList columns = columnsOf(table);
        const QString key = table == "downloads"_L1 ? u"id"_s : u"download_id"_s;
        columns.removeOne(key);
        const QString names = columns.join(u", "_s);
        const QString statement =
            u"WITH RECURSIVE n (i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < %1) "
            u"INSERT INTO %2 (%3, %4) SELECT %5 + n.i, %4 FROM n CROSS JOIN (SELECT * FROM %2 WHERE %3 = %5)"_s.arg(
                QString::number(count), table, key, names, QString::number(id));
        done = done && m_file.run(statement);
    }
    return done && m_file.run(u"COMMIT"_s);
}
