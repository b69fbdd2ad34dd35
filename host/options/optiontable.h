// SPDX-License-Identifier: MIT
#pragma once

#include <host/options/optionrow.h>

#include <QHash>
#include <QList>

/// The options that there are, in the order in which people see them.
///
/// The host's are those that any front end may offer; a front end makes a longer table of them and its own. Rows live
/// as long as the program.
class OptionTable
{
public:
    /// What downloads and the engine can be told.
    static const OptionTable &ofHost();

    explicit OptionTable(const QList<const OptionRow *> &rows);

    const QList<const OptionRow *> &rows() const { return m_rows; }
    /// By either name; null = there is none.
    const OptionRow *find(const QString &name) const { return m_byName.value(name); }
    QList<const OptionRow *> at(OptionRow::Place place) const;

private:
    QList<const OptionRow *> m_rows;
    QHash<QString, const OptionRow *> m_byName;
};
