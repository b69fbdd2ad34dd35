// SPDX-License-Identifier: MIT
#pragma once

#include <host/engine/engineanswer.h>
#include <host/engine/question.h>
#include <host/engine/snapshot.h>
#include <host/engine/totals.h>

#include <QString>

#include <optional>

class QJsonObject;

/// What an engine has to say, be it an answer or a signal: one value for whatever carries it elsewhere.
struct EngineNews {
    enum class Kind {
        Answered, ///< answer
        Added, ///< snapshot, position
        Changed, ///< snapshot
        Removed, ///< id
        Moved, ///< id, position
        Asked, ///< question
        QuestionClosed, ///< id: of the question
        TotalsChanged, ///< totals
        Warned, ///< id, text
        Closed,
    };

    Kind kind = Kind::Closed;
    qint64 id = 0;
    qint64 position = -1;
    QString text = {};
    std::optional<EngineAnswer> answer = {};
    std::optional<Snapshot> snapshot = {};
    std::optional<Question> question = {};
    std::optional<Totals> totals = {};

    QJsonObject toJson() const;
    static EngineNews fromJson(const QJsonObject &json);
};
