// SPDX-License-Identifier: MIT
#pragma once

#include <host/storage/sqlcells.h>
#include <host/storage/sqlstatement.h>
#include <host/storage/sqlvalue.h>

#include <QLatin1String>
#include <QList>
#include <QStringList>

#include <type_traits>
#include <utility>

/// Which column of a table is which member of a record, and rows as records by that.
namespace TableColumns
{

/// What may stand in a cell.
enum class Cell {
    Anything,
    Number,
    Text,
    TextOrNothing,
};

inline bool isOfKind(const SqlValue &cell, Cell kind)
{
    switch (kind) {
    case Cell::Anything:
        break;
    case Cell::Number:
        return cell.kind() == SqlValue::Kind::Number;
    case Cell::Text:
        return cell.kind() == SqlValue::Kind::Text;
    case Cell::TextOrNothing:
        return cell.isNull() || cell.kind() == SqlValue::Kind::Text;
    }
    return true;
}

/// One column of a table and where its value stands in the record.
template<typename Record>
struct Column {
    QLatin1String name;
    SqlValue (*get)(const Record &record);
    void (*set)(Record &record, const SqlValue &cell);
    Cell kind = Cell::Anything;
};

template<typename Record>
using Columns = QList<Column<Record>>;

template<auto Member, typename Record>
Column<Record> text(const char *name)
{
    return {QLatin1String(name), [](const Record &record) { return SqlCells::fromText(record.*Member); },
            [](Record &record, const SqlValue &cell) { record.*Member = SqlCells::toText(cell); }, Cell::Text};
}

template<auto Member, typename Record>
Column<Record> url(const char *name)
{
    return {QLatin1String(name), [](const Record &record) { return SqlCells::fromUrl(record.*Member); },
            [](Record &record, const SqlValue &cell) { record.*Member = SqlCells::toUrl(cell); }, Cell::TextOrNothing};
}

template<auto Member, typename Record>
Column<Record> time(const char *name)
{
    return {QLatin1String(name), [](const Record &record) { return SqlCells::fromTime(record.*Member); },
            [](Record &record, const SqlValue &cell) { record.*Member = SqlCells::toTime(cell); }, Cell::TextOrNothing};
}

/// Integers, booleans and enumerations.
template<auto Member, typename Record>
Column<Record> number(const char *name)
{
    using Number = std::remove_reference_t<decltype(std::declval<Record &>().*Member)>;
    return {QLatin1String(name), [](const Record &record) { return SqlValue(qint64(record.*Member)); },
            [](Record &record, const SqlValue &cell) { record.*Member = Number(cell.toNumber()); }, Cell::Number};
}

template<typename Record>
QStringList names(const Columns<Record> &columns)
{
    QStringList list;
    for (const Column<Record> &column : columns)
        list.append(column.name);
    return list;
}

template<typename Record>
SqlValues cells(const Columns<Record> &columns, const Record &record)
{
    SqlValues list;
    list.reserve(columns.size());
    for (const Column<Record> &column : columns)
        list.append(column.get(record));
    return list;
}

/// The first column that does not hold what it should; empty = there is none.
template<typename Record>
QString fromRow(const Columns<Record> &columns, const SqlStatement &row, Record &record)
{
    int index = 0;
    for (const Column<Record> &column : columns) {
        const SqlValue cell = row.value(index++);
        if (!isOfKind(cell, column.kind))
            return column.name;
        column.set(record, cell);
    }
    return {};
}

}
