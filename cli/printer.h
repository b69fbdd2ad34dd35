// SPDX-License-Identifier: MIT
#pragma once

#include <cli/summary.h>
#include <host/session/downloadstatus.h>
#include <host/session/queryresult.h>

#include <QString>
#include <QUrl>

/// Tells a person or a program how downloads go. One download at a time: begin(), any number of others, end().
class Printer
{
    Q_DISABLE_COPY_MOVE(Printer)

public:
    Printer() = default;
    virtual ~Printer() = default;

    virtual void begin(const QUrl &url) = 0;
    /// @param name of the file; empty while unknown
    virtual void progress(const QString &name, const DownloadStatus &status) = 0;
    virtual void warn(const QString &text) = 0;
    virtual void queried(const QueryResult &result) = 0;
    virtual void end(const Summary &summary) = 0;
};
