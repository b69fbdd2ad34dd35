// SPDX-License-Identifier: MIT
#pragma once

#include <QList>
#include <QString>

/// Many numbers of downloads in few words.
namespace IdRanges
{

/// "3, 5–9, 12". @param ids in order
QString text(const QList<qint64> &ids);

}
