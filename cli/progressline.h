// SPDX-License-Identifier: MIT
#pragma once

#include <host/session/downloadstatus.h>
#include <host/session/queryresult.h>

#include <QString>

/// Values and lines as people read them.
namespace ProgressLine
{

/// "0 B", "1.5 KiB", "12.3 GiB".
QString size(qint64 bytes);
/// "0:07", "12:34", "1:02:03".
QString duration(qint64 seconds);
QString resume(QueryResult::Resume resume);
/// Whole percent, rounded down, so that 100 means everything; -1 while the size is unknown.
int percent(const DownloadStatus &status);
/// Text of strangers without what a terminal would take for a command.
QString printable(const QString &text);

/// One line on how a download goes; no wider than @p width, the name gives way.
QString line(const QString &name, const DownloadStatus &status, int width);

}
