// SPDX-License-Identifier: MIT
#pragma once

#include <cli/overview.h>
#include <host/engine/queryresult.h>

#include <QString>

/// Values and lines as people read them. Pure.
namespace ProgressLine
{

/// "0 B", "1.5 KiB", "12.3 GiB".
QString size(qint64 bytes);
/// "0:07", "12:34", "1:02:03".
QString duration(qint64 seconds);
/// How long something took: "7.3 s", from a minute on as above.
QString span(double seconds);
QString resume(QueryResult::Resume resume);
/// Whole percent, rounded down, so that 100 means everything; -1 while the size is unknown, which is what a total
/// below 0 means.
int percent(qint64 done, qint64 total);
int percent(const DownloadStatus &status);
/// "1:02 left"; empty when nobody can tell, or nothing is left. @param speed bytes/s
QString remaining(qint64 done, qint64 total, qint64 speed);
/// Empty, too, while it waits: then nothing follows from the speed that it had.
QString remaining(const DownloadStatus &status);
/// Whether it waits for so long that nobody counts the seconds.
bool isLongWait(const DownloadStatus &status);
/// How fast it goes: "1.5 KiB/s", or what it does instead; empty when nothing moves.
QString pace(const DownloadView &view);

/// That so many were stopped before they began, and what to do. @param areListed else those that had begun
/// begin anew, too
QString unbegun(qsizetype count, bool areListed = true);

/// For terminals that may know nothing else.
QString ascii(const QString &text);
/// The file's name or, while that is unknown, what the URL says; visible.
QString name(const DownloadView &view);
QString name(const QString &name, const QUrl &url);

/// One line on how a download goes, which stands for itself; no wider than @p width columns, the name gives way.
QString line(const DownloadView &view, int width);

}
