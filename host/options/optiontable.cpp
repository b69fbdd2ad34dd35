// SPDX-License-Identifier: MIT
#include <host/options/optiontable.h>

#include <host/options/optionrows.h>

#include <algorithm>
#include <iterator>

OptionTable::OptionTable(const QList<const OptionRow *> &rows)
    : m_rows(rows)
{
    for (const OptionRow *row : rows) {
        m_byName.insert(QString::fromLatin1(row->name), row);
        if (row->otherName)
            m_byName.insert(QString::fromLatin1(row->otherName), row);
    }
}

const OptionTable &OptionTable::ofHost()
{
    static const OptionTable table(OptionRows::ofHost());
    return table;
}

QList<const OptionRow *> OptionTable::at(OptionRow::Place place) const
{
    QList<const OptionRow *> found;
    std::copy_if(m_rows.cbegin(), m_rows.cend(), std::back_inserter(found),
                 [place](const OptionRow *row) { return row->places.testFlag(place); });
    return found;
}
