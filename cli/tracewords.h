// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

/// Lines of the log as people read them who asked what goes on. Pure.
///
///     [3] > GET /debian.iso HTTP/1.1
///     [3] > Range: bytes=314572800-
///     [3] < HTTP/1.1 206 Partial Content
///     [3] section #2 started (offset: 314572800, size: 314572800, done: 0)
///
/// The number is the download's, ">" stands before what is sent, "<" before what comes.
namespace TraceWords
{

/// Empty where the line is of no use without the others of the log. Without secrets.
QString of(const QString &logLine);

}
