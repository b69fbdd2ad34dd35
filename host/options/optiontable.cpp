// SPDX-License-Identifier: MIT
#include <host/options/optiontable.h>

#include <host/options/optionrows.h>

#include <algorithm>
#include <iterator>

OptionTable::OptionTable(const QList<const OptionRow *> &rows)
    : m_rows(rows)
{
    for (const OptionRow *row : rows) {
        const QStringList names = row->names();
        for (const QString &name : names)
            m_byName.insert(name, row);
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
