// SPDX-License-Identifier: MIT
#include <host/storage/rowplaces.h>

#include <algorithm>
#include <limits>

namespace
{

using Limits = std::numeric_limits<qint64>;

/// So many rows make room at first where there is none.
constexpr qint64 kFewest = 16;

/// What is wider than that has room for whatever is asked for.
qint64 widthOf(qint64 before, qint64 behind)
{
    const quint64 width = quint64(behind) - quint64(before);
    return behind > before ? qint64(std::min(width, quint64(Limits::max()))) : 0;
}

QList<qint64> keysFrom(qint64 before, qint64 step, qsizetype count)
{
    QList<qint64> keys;
    for (qsizetype i = 0; i < count; ++i)
        keys.append(before += step);
    return keys;
}

QList<RowPlace> placesOf(const QList<RowPlace> &rows, const QList<qint64> &keys)
{
    QList<RowPlace> places = rows;
    for (qsizetype i = 0; i < places.size(); ++i)
        places[i].key = keys.at(i);
    return places;
}

/// Keys that this program does not give have used up all there is.
std::optional<QList<RowPlace>> allAnew(qint64 id, qint64 position, const RowPlaces::Others &others)
{
    std::optional<QList<RowPlace>> rows = others(0, Limits::max());
    if (!rows)
        return std::nullopt;
    rows->insert(std::min<qsizetype>(position, rows->size()), {0, id});
    return placesOf(*rows, keysFrom(0, std::min(RowPlaces::kGap, Limits::max() / rows->size()), rows->size()));
}

}

qint64 RowPlaces::keyBehind(std::optional<qint64> last)
{
    return last && *last > Limits::max() - kGap ? Limits::max() : last.value_or(0) + kGap;
}

QList<qint64> RowPlaces::keysBetween(std::optional<qint64> before, std::optional<qint64> behind, qsizetype count)
{
    if (before && behind) {
        const qint64 step = widthOf(*before, *behind) / (count + 1);
        return step > 0 ? keysFrom(*before, step, count) : QList<qint64>();
    }
    const qint64 needed = kGap * (count + 1);
    if (behind)
        return *behind > Limits::min() + needed ? keysFrom(*behind - needed, kGap, count) : QList<qint64>();
    const qint64 last = before.value_or(0);
    return last < Limits::max() - needed ? keysFrom(last, kGap, count) : QList<qint64>();
}

std::optional<QList<RowPlace>> RowPlaces::moved(qint64 id, qint64 position, const Others &others)
{
    const qint64 hasBefore = position > 0 ? 1 : 0;
    for (qint64 room = 0;; room = std::max(kFewest, 2 * room)) {
        std::optional<QList<RowPlace>> rows = others(position - hasBefore, hasBefore + room + 1);
        if (!rows)
            return std::nullopt;
        std::optional<qint64> before;
        std::optional<qint64> behind;
        if (hasBefore > 0 && !rows->isEmpty())
            before = rows->takeFirst().key;
        const bool isEnd = rows->size() <= room;
        if (!isEnd)
            behind = rows->takeLast().key;
        rows->prepend({0, id});
        const QList<qint64> keys = keysBetween(before, behind, rows->size());
        if (!keys.isEmpty())
            return placesOf(*rows, keys);
        if (isEnd)
            return allAnew(id, position, others);
    }
}
