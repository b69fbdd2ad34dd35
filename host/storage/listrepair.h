// SPDX-License-Identifier: MIT
#pragma once

#include <host/policy/failure.h>

#include <QList>
#include <QMap>
#include <QString>

/// Makes a whole list of a damaged one. Nothing is overwritten or deleted.
namespace ListRepair
{

struct Report {
    Failure failure; ///< why it was not done, or nothing could be read; none = it was done
    bool wasWhole = false; ///< the list needed no repair, and nothing was done
    QString from; ///< the damaged list, as it is named now
    bool wasSetAside = false; ///< it was the list itself, in whose place there is a new one
    Failure warning; ///< of the list that was brought over into; none = there is nothing to tell
    int brought = 0;
    int present = 0; ///< were in the list already
    QMap<Clause, QList<qint64>> lost; ///< could not be brought over: their numbers, by reason
    QList<Clause> remarks; ///< of those that were brought over
};

/// Sets the list aside if it is damaged, begins a new one and brings over what can be read. Refused while a process is
/// at work on it.
Report repair(const QString &listPath);
/// Brings over what can be read of a damaged list, which stays as it is, and what the list does not have yet.
/// @param damagedPath of a list that was set aside; that of the list itself is the same as repair()
Report bringOver(const QString &damagedPath, const QString &listPath);

}
