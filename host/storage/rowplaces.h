// SPDX-License-Identifier: MIT
#pragma once

#include <QList>
#include <QtGlobal>

#include <compare>
#include <functional>
#include <optional>

/// By what a row is sorted in the list's own order: by its key, and by its number where keys are the same.
struct RowPlace {
    qint64 key = 0;
    qint64 id = 0;

    friend auto operator<=>(const RowPlace &, const RowPlace &) = default;
};

/// The keys of rows leave gaps, so that a row that is moved gets one between its new neighbours, and hardly ever
/// another row has to make room. Pure, so that every store gives the same keys.
namespace RowPlaces
{

/// Between the keys of two rows that were put into the list one after the other.
constexpr qint64 kGap = qint64(1) << 32;

/// The key of a row behind all others. @param last the greatest there is; nothing = there are no rows
qint64 keyBehind(std::optional<qint64> last);

/// So many keys in between, as even as can be. @param before nothing = from the beginning @param behind nothing = up to
/// the end @return empty = there is no room
QList<qint64> keysBetween(std::optional<qint64> before, std::optional<qint64> behind, qsizetype count);

/// Rows in their order but for the one that is moved: those from a position on, so many at most; nothing = they cannot
/// be read.
using Others = std::function<std::optional<QList<RowPlace>>(qint64 position, qint64 count)>;

/// New places that bring a row to a position among the others: its own, and those of rows that have to make room.
/// Nothing where the others cannot be read. @param position at most behind the last of the others
std::optional<QList<RowPlace>> moved(qint64 id, qint64 position, const Others &others);

}
