// SPDX-License-Identifier: MIT
#pragma once

#include <host/engine/engineoverview.h>
#include <host/engine/queryresult.h>
#include <host/engine/question.h>
#include <host/engine/snapshot.h>
#include <host/policy/failure.h>

#include <QList>

#include <optional>

class QJsonObject;

/// What became of a command. A value.
struct EngineAnswer {
    quint64 number = 0; ///< the command's
    Failure failure = {}; ///< why it was not done; none = it was
    AbstractError error = {}; ///< the same as a module says it, of Query and Check
    QList<qint64> ids = {}; ///< downloads that it was about
    QList<Snapshot> snapshots = {};
    qint64 total = 0; ///< of Snapshots: how many the filter lets through
    QList<Question> questions = {};
    QList<Failure> warnings = {}; ///< of Open, Prepare and Check: what a person should know though it succeeded
    std::optional<QueryResult> found = {}; ///< of Query
    std::optional<EngineOverview> overview = {}; ///< of Overview
    QString existing = {}; ///< of Add and Query: path of the file that is there already; empty = it is to be fetched

    bool isOk() const { return !failure; }

    QJsonObject toJson() const;
    static EngineAnswer fromJson(const QJsonObject &json);
};
