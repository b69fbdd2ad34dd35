// SPDX-License-Identifier: MIT
#pragma once

#include <host/storage/sqlvalue.h>

#include <QList>
#include <QString>
#include <QStringList>

class RecordRows;

/// A table that holds parts of downloads, one behind the other. Its rows are found by the columns in the key, of which
/// the last is "position", from 0 on, and the others say whose they are. Opens no transaction of its own; false when a
/// statement failed, with the reason in the rows.
class PartRows
{
public:
    PartRows(const QString &table, const QStringList &key, const QStringList &columns);
    /// The statement that puts a row into a table, or leaves the one that is there with these cells: written only where
    /// it has others, since each page of the file that is touched is written. Of any table, with a "?" for each column.
    static QString putting(const QString &table, const QStringList &key, const QStringList &columns);

    /// The columns of all parts, in their order, with a "?" for each cell of their owner.
    const QString &select() const { return m_select; }

    /// Of an owner that has none. @param owner cells of the key, without the position @param parts their columns
    bool insert(RecordRows &rows, const SqlValues &owner, const QList<SqlValues> &parts) const;
    /// Makes them the parts of their owner; what is there already is left alone. What refers to rows that go goes with
    /// them.
    bool replace(RecordRows &rows, const SqlValues &owner, const QList<SqlValues> &parts) const;

private:
    bool runEach(RecordRows &rows, const QString &statement, const SqlValues &owner,
                 const QList<SqlValues> &parts) const;

    QString m_select;
    QString m_insert;
    QString m_put;
    QString m_findBeyond;
    QString m_eraseBeyond;
};
