// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QStringList>

/// What somebody meant who slipped on the keys. Pure.
namespace Nearest
{

/// The candidate that takes the fewest slips (a letter too many, missing, another, or two of them swapped) to become
/// the word, or that the word begins; empty = none is near. The first one where several are as near.
QString of(const QString &word, const QStringList &candidates);

}
