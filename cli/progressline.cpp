// SPDX-License-Identifier: MIT
#include <cli/progressline.h>

#include <cli/textcolumns.h>
#include <host/policy/shown.h>

#include <QStringList>

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;

namespace
{

constexpr int kShortestName = 8;
constexpr qint64 kMillisecondsPerSecond = 1000;
constexpr double kLongSpan = 59.95; ///< seconds; "60.0 s" is a minute
constexpr uint kFirstBeyondAscii = 0x80;

QString amount(const DownloadStatus &status)
{
    if (status.total < 0)
        return ProgressLine::size(status.done);
    return u"%1% %2 of %3"_s.arg(QString::number(ProgressLine::percent(status)), ProgressLine::size(status.done),
                                 ProgressLine::size(status.total));
}

/// Without bytes on their way.
QString activity(const DownloadView &view)
{
    const DownloadStatus &status = view.status;
    if (view.state == DownloadState::Asking)
        return u"asking"_s;
    if (view.state == DownloadState::Checking)
        return u"checking"_s;
    if (view.state == DownloadState::Hashing)
        return u"comparing"_s;
    const bool lacksBytes = status.total < 0 || status.done < status.total;
    return status.connections == 0 && lacksBytes ? u"connecting"_s : QString();
}

QString facts(const DownloadView &view)
{
    const DownloadStatus &status = view.status;
    QStringList parts{amount(status)};
    const QString pace = ProgressLine::pace(view);
    if (!pace.isEmpty())
        parts.append(pace);
    if (status.connections > 1)
        parts.append(u"%1 connections"_s.arg(status.connections));
    const QString left = ProgressLine::remaining(status);
    if (!left.isEmpty())
        parts.append(left);
    return parts.join(u", "_s);
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

QString ProgressLine::span(double seconds)
{
    return seconds < kLongSpan ? QString::number(seconds, 'f', 1) + u" s"_s : duration(qRound64(seconds));
}

QString ProgressLine::unbegun(qsizetype count, bool areListed)
{
    const QString what = count == 1 ? u"1 download"_s : u"%1 downloads"_s.arg(count);
    return what + u" had not begun; "_s
        + (areListed ? u"run the same command again to resume"_s : u"the same command begins anew with all"_s);
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

int ProgressLine::percent(qint64 done, qint64 total)
{
    if (total < 0)
        return -1;
    if (done >= total)
        return 100;
    return int(double(done) / double(total) * 100);
}

int ProgressLine::percent(const DownloadStatus &status)
{
    return percent(status.done, status.total);
}

QString ProgressLine::remaining(qint64 done, qint64 total, qint64 speed)
{
    if (speed <= 0 || done >= total)
        return {};
    return duration((total - done - 1) / speed + 1) + u" left"_s;
}

QString ProgressLine::remaining(const DownloadStatus &status)
{
    return status.retryInMs >= 0 ? QString() : remaining(status.done, status.total, status.speed);
}

bool ProgressLine::isLongWait(const DownloadStatus &status)
{
    constexpr qint64 kLongWaitMs = 120 * kMillisecondsPerSecond;
    return status.retryInMs >= kLongWaitMs;
}

QString ProgressLine::pace(const DownloadView &view)
{
    const DownloadStatus &status = view.status;
    if (isLongWait(status))
        return u"waiting for "_s + duration(status.retryInMs / kMillisecondsPerSecond);
    if (status.retryInMs == 0)
        return u"retrying at once"_s;
    if (status.retryInMs > 0)
        return u"retrying in %1 s"_s.arg((status.retryInMs + kMillisecondsPerSecond - 1) / kMillisecondsPerSecond);
    if (status.allocated >= 0)
        return u"reserving the disk: "_s + size(status.allocated);
    return status.speed > 0 ? size(status.speed) + u"/s"_s : activity(view);
}

QString ProgressLine::ascii(const QString &text)
{
    QString result;
    const QList<uint> characters = text.toUcs4();
    for (const uint c : characters)
        result += c < kFirstBeyondAscii ? QChar(char16_t(c)) : QChar(u'?');
    return result;
}

QString ProgressLine::name(const DownloadView &view)
{
    return name(view.status.name, view.url);
}

QString ProgressLine::name(const QString &name, const QUrl &url)
{
    if (!name.isEmpty())
        return Shown::text(name);
    const QString fileName = url.fileName();
    return Shown::text(fileName.isEmpty() ? url.host() : fileName);
}

QString ProgressLine::line(const DownloadView &view, int width)
{
    const QString name = ProgressLine::name(view);
    const QString text = facts(view);
    if (name.isEmpty())
        return TextColumns::left(text, width);
    const int room = std::max(kShortestName, width - TextColumns::width(text) - 2);
    return TextColumns::left(TextColumns::shortened(name, room, u"…"_s) + u": "_s + text, width);
}
