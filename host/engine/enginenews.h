// SPDX-License-Identifier: MIT
#pragma once

#include <host/engine/engineanswer.h>
#include <host/engine/question.h>
#include <host/engine/snapshot.h>
#include <host/engine/totals.h>
#include <host/engine/warning.h>

#include <QtGlobal>

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
        Warned, ///< id, warning
        ListChanged,
        Closed,
    };

    Kind kind = Kind::Closed;
    qint64 id = 0;
    qint64 position = -1;
    std::optional<EngineAnswer> answer = {};
    std::optional<Snapshot> snapshot = {};
    std::optional<Question> question = {};
    std::optional<Totals> totals = {};
    std::optional<Warning> warning = {};

    QJsonObject toJson() const;
    static EngineNews fromJson(const QJsonObject &json);
};
