// SPDX-License-Identifier: MIT
#pragma once

#include <QList>
#include <QString>

/// The parts of the manual that say the same as the tables of commands and options, drawn from these. Pure.
namespace ManualTables
{

struct Part {
    QString heading; ///< of the manual, the whole line; empty = somewhere in it
    QString opening; ///< the first line of what is drawn
    QString text; ///< as the manual is to have it, in whole lines
};

/// The commands, and a table of options for each of the manual's headings.
QList<Part> parts();
/// The manual with all of them in their places; empty, with the heading in @p missing, where one has no place.
QString drawnInto(const QString &manual, QString *missing);

}
