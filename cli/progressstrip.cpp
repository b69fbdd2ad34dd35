// SPDX-License-Identifier: MIT
#include <cli/progressstrip.h>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

struct Form {
    char16_t unicode;
    char16_t ascii;
    const char *colour; ///< parameters of the escape code
};

/// All of them are in the oldest of terminal fonts, and none is taken for an emoji.
Form formOf(ProgressStrip::Cell cell)
{
    switch (cell) {
    case ProgressStrip::Cell::Filled:
        return {u'█', u'#', "36"};
    case ProgressStrip::Cell::Partly:
        return {u'▒', u'+', "36"};
    case ProgressStrip::Cell::Fetching:
        return {u'►', u'>', "1;32"};
    case ProgressStrip::Cell::Empty:
        break;
    }
    return {u'░', u'.', "2"};
}

struct Range {
    qint64 begin;
    qint64 end;

    bool contains(qint64 place) const { return place >= begin && place < end; }
};

/// The share's first byte. In two steps, since the size times the place may be more than the type holds.
qint64 beginOfShare(qint64 total, int count, int index)
{
    return total / count * index + total % count * index / count;
}

/// Never empty: where there are more cells than bytes, neighbours stand for the same byte.
Range shareOf(qint64 total, int count, int index)
{
    const qint64 begin = std::min(beginOfShare(total, count, index), total - 1);
    return {begin, std::max(begin + 1, beginOfShare(total, count, index + 1))};
}

qint64 filledBytes(const QList<AbstractDownloadSection> &sections, Range range)
{
    qint64 sum = 0;
    for (const AbstractDownloadSection &section : sections) {
        const qint64 begin = std::max(range.begin, section.offset);
        sum += std::max<qint64>(0, std::min(range.end, section.position()) - begin);
    }
    return sum;
}

ProgressStrip::Cell cellOf(const DownloadStatus &status, Range range)
{
    const auto isHere = [range](qint64 place) { return range.contains(place); };
    if (std::any_of(status.fetching.begin(), status.fetching.end(), isHere))
        return ProgressStrip::Cell::Fetching;
    const qint64 filled = filledBytes(status.sections, range);
    if (filled <= 0)
        return ProgressStrip::Cell::Empty;
    return filled < range.end - range.begin ? ProgressStrip::Cell::Partly : ProgressStrip::Cell::Filled;
}

QString run(ProgressStrip::Cell cell, qsizetype length, TerminalLook look)
{
    const Form form = formOf(cell);
    const QString characters(length, QChar(look.unicode ? form.unicode : form.ascii));
    return look.colour ? u"\u001b[%1m%2\u001b[m"_s.arg(QLatin1String(form.colour), characters) : characters;
}

}

QList<ProgressStrip::Cell> ProgressStrip::cells(const DownloadStatus &status, int count)
{
    if (status.total < 0)
        return {};
    if (status.total == 0)
        return QList<Cell>(count, Cell::Filled);
    QList<Cell> result;
    result.reserve(count);
    for (int i = 0; i < count; ++i)
        result.append(cellOf(status, shareOf(status.total, count, i)));
    return result;
}

QString ProgressStrip::text(const QList<Cell> &cells, TerminalLook look)
{
    QString result = u"["_s;
    for (auto begin = cells.begin(); begin != cells.end();) {
        const auto end = std::find_if(begin, cells.end(), [begin](Cell cell) { return cell != *begin; });
        result += run(*begin, end - begin, look);
        begin = end;
    }
    return result + u']';
}
