// SPDX-License-Identifier: MIT
#pragma once

#include <host/engine/downloadrequest.h>
#include <host/engine/engineoptions.h>
#include <host/engine/limits.h>
#include <host/engine/snapshotquery.h>
#include <host/options/optionchanges.h>

#include <QtGlobal>

#include <optional>

class QJsonObject;

/// What an engine is told to do. A value; see Engine for what each kind means and needs.
struct EngineCommand {
    enum class Kind {
        Open, ///< options
        Prepare,
        Add, ///< request, flag: begin it
        Pause, ///< id
        Resume, ///< id
        Remove, ///< id, flag: with its file
        Restart, ///< id, flag: a finished file stays where a checksum may prove the new one wrong
        FinishNow, ///< id
        Check, ///< id, changes
        Query, ///< request, flag: with what the list has of it
        SetUrl, ///< id, request, flag: even where another file may be there
        Move, ///< id, value: the new position
        SetLimits, ///< id, limits
        SetOptions, ///< id, changes
        PauseAll,
        ResumeAll,
        SetGlobalLimits, ///< limits
        SetMostAtOnce, ///< value
        TakeStream, ///< id, value: bytes from the beginning
        Snapshot, ///< id
        Snapshots, ///< query
        Questions,
        Overview,
        Answer, ///< id: of the question, value: the choice
        Close,
    };

    quint64 number = 0; ///< by which its answer is known; the engine's face gives it
    Kind kind = Kind::Open;
    qint64 id = 0;
    qint64 value = 0;
    bool flag = false;
    std::optional<EngineOptions> options = {};
    std::optional<DownloadRequest> request = {};
    std::optional<OptionChanges> changes = {};
    std::optional<Limits> limits = {};
    std::optional<SnapshotQuery> query = {};

    QJsonObject toJson() const;
    static EngineCommand fromJson(const QJsonObject &json);
};
