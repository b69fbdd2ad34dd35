// SPDX-License-Identifier: MIT
#pragma once

#include <host/parsing/clause.h>

#include <QString>
#include <QStringList>

/// The words of clauses.
namespace ClauseWords
{

/// Without a full stop, and beginning with a small letter where it does not begin with a name; empty = it says nothing.
QString of(const Clause &clause);
QStringList of(const QList<Clause> &clauses);

}
