// SPDX-License-Identifier: MIT
#include <cli/progressline.h>

#include <QStringList>

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;

namespace
{

constexpr int kShortestName = 8;

/// Characters that change the direction of what follows, and with it how a file name reads.
bool isDirectionMark(char16_t c)
{
    return (c >= 0x202a && c <= 0x202e) || (c >= 0x2066 && c <= 0x2069) || c == 0x200e || c == 0x200f;
}

QString amount(const DownloadStatus &status)
{
    if (status.total < 0)
        return ProgressLine::size(status.done);
    return u"%1% %2 of %3"_s.arg(QString::number(ProgressLine::percent(status)), ProgressLine::size(status.done),
                                 ProgressLine::size(status.total));
}

QString remaining(const DownloadStatus &status)
{
    if (status.total < 0 || status.speed <= 0 || status.done >= status.total)
        return {};
    return ProgressLine::duration((status.total - status.done + status.speed - 1) / status.speed) + u" left"_s;
}

QString facts(const DownloadStatus &status)
{
    QStringList parts{amount(status)};
    if (status.allocated >= 0)
        parts.append(u"reserving the disk: "_s + ProgressLine::size(status.allocated));
    if (status.speed > 0)
        parts.append(ProgressLine::size(status.speed) + u"/s"_s);
    if (status.connections > 1)
        parts.append(u"%1 connections"_s.arg(status.connections));
    const QString left = remaining(status);
    if (!left.isEmpty())
        parts.append(left);
    return parts.join(u", "_s);
}

QString shortened(const QString &name, qsizetype width)
{
    return name.size() <= width ? name : name.left(width - 1) + u'…';
}

}

QString ProgressLine::size(qint64 bytes)
{
    constexpr std::array<QStringView, 7> kUnits = {u"B", u"KiB", u"MiB", u"GiB", u"TiB", u"PiB", u"EiB"};
    double value = double(bytes);
    std::size_t unit = 0;
    // What would be shown as "1024.0" is the next unit's "1.0".
    while (value >= 1023.95 && unit + 1 < kUnits.size()) {
        value /= 1024;
        ++unit;
    }
    return QString::number(value, 'f', unit == 0 ? 0 : 1) + u' ' + kUnits.at(unit).toString();
}

QString ProgressLine::duration(qint64 seconds)
{
    const QString tail = u"%1:%2"_s.arg((seconds / 60) % 60, seconds >= 3600 ? 2 : 1, 10, QLatin1Char('0'))
                             .arg(seconds % 60, 2, 10, QLatin1Char('0'));
    return seconds >= 3600 ? QString::number(seconds / 3600) + u':' + tail : tail;
}

QString ProgressLine::resume(QueryResult::Resume resume)
{
    switch (resume) {
    case QueryResult::Resume::Supported:
        return u"yes"_s;
    case QueryResult::Resume::NotSupported:
        return u"no"_s;
    case QueryResult::Resume::Unknown:
        break;
    }
    return u"unknown"_s;
}

int ProgressLine::percent(const DownloadStatus &status)
{
    if (status.total < 0)
        return -1;
    if (status.done >= status.total)
        return 100;
    return int(double(status.done) / double(status.total) * 100);
}

QString ProgressLine::printable(const QString &text)
{
    QString result = text;
    std::replace_if(
        result.begin(), result.end(),
        [](QChar c) { return c.category() == QChar::Other_Control || isDirectionMark(c.unicode()); }, QChar(u'?'));
    return result;
}

QString ProgressLine::line(const QString &name, const DownloadStatus &status, int width)
{
    const QString text = facts(status);
    if (name.isEmpty())
        return text.left(width);
    const qsizetype room = std::max<qsizetype>(kShortestName, width - text.size() - 2);
    return (shortened(printable(name), room) + u": "_s + text).left(width);
}
