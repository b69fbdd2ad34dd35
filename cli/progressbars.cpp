// SPDX-License-Identifier: MIT
#include <cli/progressbars.h>

#include <cli/progressline.h>
#include <cli/progressstrip.h>
#include <cli/textcolumns.h>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

constexpr int kGap = 2;
constexpr int kBrackets = 2;
constexpr int kShortestStrip = 10;
constexpr int kShortestStripBesideSize = 20;
constexpr int kLongestStrip = 100;
constexpr int kModestName = 16;
constexpr int kNameShare = 4; ///< a longer name gets this part of the line
// Wide enough for nearly all values, so that columns do not jump.
constexpr int kAmountWidth = 4;
constexpr int kSizeWidth = 12;
constexpr int kSpeedWidth = 11;
constexpr int kLeftWidth = 9;
constexpr int kConnectionsWidth = 6;

QString ellipsis(TerminalLook look)
{
    return look.unicode ? u"…"_s : u"..."_s;
}

struct Row {
    QString name;
    QString amount;
    QString size;
    QString speed;
    QString left;
    QString connections;
};

Row rowOf(const DownloadView &view, TerminalLook look)
{
    const DownloadStatus &status = view.status;
    Row row;
    row.name = ProgressLine::name(view);
    if (!look.unicode)
        row.name = ProgressLine::ascii(row.name);
    row.amount = status.total < 0 ? ProgressLine::size(status.done) : u"%1%"_s.arg(ProgressLine::percent(status));
    row.size = status.total < 0 ? QString() : u"of "_s + ProgressLine::size(status.total);
    row.speed = ProgressLine::pace(view);
    row.left = ProgressLine::remaining(status);
    if (status.connections > 0)
        row.connections = u"%1 conn"_s.arg(status.connections);
    return row;
}

/// What the lines have in common. A width of 0 leaves the column out.
struct Columns {
    int name = 0;
    int strip = kShortestStripBesideSize + kBrackets;
    int amount = kAmountWidth;
    int size = kSizeWidth;
    int speed = kSpeedWidth;
    int left = kLeftWidth;
    int connections = kConnectionsWidth;

    int total() const
    {
        int sum = name;
        for (const int width : {strip, amount, size, speed, left, connections})
            sum += width > 0 ? kGap + width : 0;
        return sum;
    }
};

void widen(int &width, const QString &text)
{
    width = std::max(width, TextColumns::width(text));
}

Columns wantedBy(const QList<Row> &rows)
{
    Columns columns;
    for (const Row &row : rows) {
        widen(columns.name, row.name);
        widen(columns.amount, row.amount);
        widen(columns.size, row.size);
        widen(columns.speed, row.speed);
        widen(columns.left, row.left);
        widen(columns.connections, row.connections);
    }
    return columns;
}

Columns fitted(Columns columns, int width)
{
    columns.name = std::min(columns.name, std::max(kModestName, width / kNameShare));
    if (columns.total() > width) {
        columns.size = 0;
        columns.strip = kShortestStrip + kBrackets;
    }
    for (int *const dropped : {&columns.strip, &columns.connections, &columns.left, &columns.speed}) {
        if (columns.total() > width)
            *dropped = 0;
    }
    const int room = width - columns.total();
    if (room < 0)
        columns.name = std::max(0, columns.name + room);
    if (columns.strip > 0)
        columns.strip = std::min(columns.strip + room, kLongestStrip + kBrackets);
    return columns;
}

QString stripOf(const DownloadStatus &status, int width, TerminalLook look)
{
    const QList<ProgressStrip::Cell> cells = ProgressStrip::cells(status, width - kBrackets);
    return cells.isEmpty() ? QString(width, u' ') : ProgressStrip::text(cells, look);
}

QString withoutTail(QString text)
{
    while (text.endsWith(u' '))
        text.chop(1);
    return text;
}

QString lineOf(const Row &row, const DownloadStatus &status, const Columns &columns, TerminalLook look)
{
    QStringList parts{
        TextColumns::padded(TextColumns::shortened(row.name, columns.name, ellipsis(look)), columns.name)};
    if (columns.strip > 0)
        parts.append(stripOf(status, columns.strip, look));
    parts.append(TextColumns::rightAligned(row.amount, columns.amount));
    if (columns.size > 0)
        parts.append(TextColumns::padded(row.size, columns.size));
    if (columns.speed > 0)
        parts.append(TextColumns::padded(row.speed, columns.speed));
    if (columns.left > 0)
        parts.append(TextColumns::padded(row.left, columns.left));
    if (columns.connections > 0)
        parts.append(row.connections);
    return withoutTail(parts.join(QString(kGap, u' ')));
}

/// Without a strip there are no escape codes in it, so that it can be cut anywhere.
QString cut(const QString &line, const Columns &columns, int width)
{
    return columns.strip > 0 ? line : TextColumns::left(line, width);
}

QStringList linesOf(const QList<DownloadView> &downloads, int width, TerminalLook look)
{
    QList<Row> rows;
    for (const DownloadView &view : downloads)
        rows.append(rowOf(view, look));
    const Columns columns = fitted(wantedBy(rows), width);
    QStringList lines;
    for (qsizetype i = 0; i < rows.size(); ++i)
        lines.append(cut(lineOf(rows.at(i), downloads.at(i).status, columns, look), columns, width));
    return lines;
}

/// All that has begun waits for its hour, or for a retry.
bool isAllAtRest(const Overview &overview)
{
    return std::all_of(overview.running.cbegin(), overview.running.cend(),
                       [](const DownloadView &view) { return view.status.retryInMs >= 0; });
}

QStringList overallParts(const Overview &overview)
{
    QStringList parts{u"%1 running"_s.arg(overview.running.size()), u"%1 waiting"_s.arg(overview.waiting),
                      u"%1 done"_s.arg(overview.done)};
    if (overview.failed > 0)
        parts.append(u"%1 failed"_s.arg(overview.failed));
    if (overview.stopped > 0)
        parts.append(u"%1 stopped"_s.arg(overview.stopped));
    parts.append(ProgressLine::size(overview.speed) + u"/s"_s);
    if (overview.bytesTotal > 0)
        parts.append(u"%1%"_s.arg(ProgressLine::percent(overview.bytesDone, overview.bytesTotal)));
    const QString left = ProgressLine::remaining(overview.bytesDone, overview.bytesTotal, overview.speed);
    if (!left.isEmpty() && !isAllAtRest(overview))
        parts.append(left);
    return parts;
}

/// As many parts as fit.
QString overallLine(const Overview &overview, int width)
{
    QStringList parts = overallParts(overview);
    while (parts.size() > 1 && TextColumns::width(parts.join(u", "_s)) > width)
        parts.removeLast();
    return TextColumns::left(parts.join(u", "_s), width);
}

}

QStringList ProgressBars::lines(const Overview &overview, Screen::Size size, TerminalLook look)
{
    // Some terminals wrap as soon as the last column is written; the last row is for what is printed above.
    const int width = std::max(1, size.columns - 1);
    const qsizetype rows = std::max(1, size.rows - 1);
    const qsizetype running = overview.running.size();
    const bool idle = running + overview.waiting == 0;
    const bool several = running + overview.waiting + overview.done + overview.stopped + overview.failed > 1;
    const qsizetype room = rows - (several ? 1 : 0);
    const qsizetype shown = running <= room ? running : std::max<qsizetype>(0, room - 1);
    QStringList lines = linesOf(overview.running.first(shown), width, look);
    if (shown < running && room > 0)
        lines.append(TextColumns::left(u"%1 and %2 more"_s.arg(ellipsis(look)).arg(running - shown), width));
    if (several && !idle)
        lines.append(overallLine(overview, width));
    return lines;
}
