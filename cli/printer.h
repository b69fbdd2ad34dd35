// SPDX-License-Identifier: MIT
#pragma once

#include <cli/fetchplan.h>
#include <cli/overview.h>
#include <cli/summary.h>
#include <host/engine/queryresult.h>

#include <QString>
#include <QUrl>

/// Tells a person or a program how downloads go. Any number of them at once; for each begin(), any number of others,
/// end(). Lives in the thread of the downloads.
class Printer
{
    Q_DISABLE_COPY_MOVE(Printer)

public:
    Printer() = default;
    virtual ~Printer() = default;

    virtual void begin(qint64 id, const QUrl &url) = 0;
    /// May be called as often as there is news; printers take what they need.
    virtual void progress(const Overview &overview) = 0;
    virtual void warn(qint64 id, const QString &text) = 0;
    virtual void queried(qint64 id, const QueryResult &result) = 0;
    /// What would be done, where nothing is to be.
    virtual void planned(qint64 id, const FetchPlan &plan) = 0;
    virtual void end(qint64 id, const Summary &summary) = 0;
    /// So many, more than 0, were stopped before they began; of each of them nothing is told.
    virtual void leave(qsizetype count) = 0;
    /// A remark that belongs to no download.
    virtual void note(const QString &text) = 0;
    /// Everything has ended, and nothing more is told.
    virtual void finish() {}
    /// What goes on underneath, for whoever asked for that; it means nothing to programs.
    virtual void trace(const QString &) {}
    /// While a person answers a question, nothing may move under what is typed. Messages come all the same.
    virtual void setTyping(bool) {}
};
