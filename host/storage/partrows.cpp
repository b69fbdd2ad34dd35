// SPDX-License-Identifier: MIT
#include <host/storage/partrows.h>

#include <host/storage/recordrows.h>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

QString joined(const QStringList &columns)
{
    return columns.join(u", "_s);
}

QString joined(const QString &before, const QStringList &columns)
{
    return before + columns.join(u", "_s + before);
}

QString insertion(const QString &table, const QStringList &columns)
{
    const QStringList marks(columns.size(), u"?"_s);
    return u"INSERT INTO %1 (%2) VALUES (%3)"_s.arg(table, joined(columns), joined(marks));
}

QString assignments(const QStringList &columns)
{
    QStringList list;
    for (const QString &column : columns)
        list.append(u"%1 = excluded.%1"_s.arg(column));
    return joined(list);
}

}

PartRows::PartRows(const QString &table, const QStringList &key, const QStringList &columns)
{
    const QString owner = key.first(key.size() - 1).join(u" = ? AND "_s) + u" = ?"_s;
    const QString beyond = u"FROM %1 WHERE %2 AND position >= ?"_s.arg(table, owner);
    m_select = u"SELECT %1 FROM %2 WHERE %3 ORDER BY position"_s.arg(joined(columns), table, owner);
    m_insert = insertion(table, key + columns);
    m_put = putting(table, key, columns);
    m_findBeyond = u"SELECT 1 %1 LIMIT 1"_s.arg(beyond);
    m_eraseBeyond = u"DELETE "_s + beyond;
}

QString PartRows::putting(const QString &table, const QStringList &key, const QStringList &columns)
{
    return insertion(table, key + columns)
        + u" ON CONFLICT (%1) DO UPDATE SET %2 WHERE (%3) IS NOT (%4)"_s.arg(
            joined(key), assignments(columns), joined(table + u'.', columns), joined(u"excluded."_s, columns));
}

bool PartRows::insert(RecordRows &rows, const SqlValues &owner, const QList<SqlValues> &parts) const
{
    return runEach(rows, m_insert, owner, parts);
}

/// To delete nothing costs ten times as much as to look whether there is anything.
bool PartRows::replace(RecordRows &rows, const SqlValues &owner, const QList<SqlValues> &parts) const
{
    if (!runEach(rows, m_put, owner, parts))
        return false;
    const SqlValues beyond = owner + SqlValues{parts.size()};
    bool isBeyond = false;
    {
        auto found = rows.run(m_findBeyond, beyond);
        if (!found)
            return false;
        isBeyond = found->next();
    }
    return !isBeyond || rows.run(m_eraseBeyond, beyond);
}

bool PartRows::runEach(RecordRows &rows, const QString &statement, const SqlValues &owner,
                       const QList<SqlValues> &parts) const
{
    int position = 0;
    return std::all_of(parts.cbegin(), parts.cend(), [&](const SqlValues &part) {
        return bool(rows.run(statement, owner + SqlValues{position++} + part));
    });
}
