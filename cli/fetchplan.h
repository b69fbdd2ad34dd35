// SPDX-License-Identifier: MIT
#pragma once

#include <host/engine/downloadrequest.h>
#include <host/engine/engineanswer.h>

#include <QJsonObject>
#include <QString>

/// What a command would do about one address, for who wants to know before. A value.
struct FetchPlan {
    enum class Action {
        Fetch,
        GoOn, ///< with what is there of it
        Ask, ///< the server, whether what is there is its file still
        Skip, ///< it is there
        Refuse, ///< another file is in the way
    };

    Action action = Action::Fetch;
    QString path; ///< of the file that it would be; empty = none, because it would go to standard output
    QString note; ///< on a file that is in the way, as a clause; empty = none is
    qint64 size = -1; ///< bytes; -1 = unknown
    qint64 done = 0; ///< bytes of it that are there
    int connections = 0; ///< at most; 0 = none

    /// @param answer of Engine::plan() @param mostConnections of a download that has no number of its own
    static FetchPlan of(const DownloadRequest &request, const EngineAnswer &answer, bool isToAsk,
                        qint64 mostConnections);

    /// "would fetch "/home/anna/x.iso": 628.0 MiB, 8 connections at most"
    QString text() const;
    /// The same for programs.
    QJsonObject object() const;
};
