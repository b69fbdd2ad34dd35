// SPDX-License-Identifier: MIT
#pragma once

#include <host/policy/failure.h>

#include <QList>
#include <QString>

/// Looks whether a list is whole, as far as that can be seen, and changes nothing of it.
namespace ListCheck
{

struct Findings {
    Failure failure; ///< why nobody could look; none = somebody did
    QList<Clause> problems; ///< what is wrong; empty = nothing
    qint64 downloads = -1; ///< that could be read; -1 = nobody could look
    qint64 runningId = 0; ///< a download that a living process is at work on; 0 = there is none
    qint64 runningPid = 0;
};

/// SQLite's own check, rows that belong to nothing, the tables, and each download as a record. Reads everything.
/// A list of a later version and another program's database are errors: it is not for this program to judge them.
Findings look(const QString &path);

}
