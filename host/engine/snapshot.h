// SPDX-License-Identifier: MIT
#pragma once

#include <host/engine/downloadstate.h>
#include <host/engine/streamsnapshot.h>
#include <host/options/downloadoptions.h>
#include <host/policy/failure.h>
#include <host/policy/fileassurance.h>
#include <host/policy/resourcememory.h>
#include <inet/qt/download/framework/downloaddetails.h>
#include <inet/qt/download/records/abstractdownloadsection.h>
#include <inet/qt/download/records/abstracterror.h>
#include <inet/qt/download/records/networkusagesettings.h>

#include <QDateTime>
#include <QList>
#include <QString>
#include <QUrl>

#include <optional>

class QJsonObject;

/// What is there of a file.
struct FileSnapshot {
    QString name; ///< on the disk, or as it will be called when it is whole; empty = not known yet
    qint64 size = -1; ///< bytes; -1 = unknown
    qint64 done = 0; ///< bytes on disk
    QList<AbstractDownloadSection> sections = {}; ///< of a download that is active, or was asked for by its number
    QList<qint64> fetching = {}; ///< places at which bytes arrive now

    friend bool operator==(const FileSnapshot &, const FileSnapshot &) = default;
};

/// A connection that brings bytes, or is to. What is not known is empty or -1: the place before its server has
/// answered, and place or speed of one that a module makes by itself, which tells how many go to which server and at
/// which places bytes arrive, but not which belongs to which.
struct ConnectionSnapshot {
    QString server; ///< "host:port"
    qint64 position = -1; ///< in the file, of the next byte
    qint64 speed = -1; ///< bytes/s

    friend bool operator==(const ConnectionSnapshot &, const ConnectionSnapshot &) = default;
};

/// How the run of a download went that goes on, or the last one in this engine.
struct RunSnapshot {
    int attempts = 0; ///< runs of the module that it took
    double seconds = 0; ///< from its beginning to its end, waits included; 0 = it has not ended
    int mostConnections = 0; ///< that transferred at once
    ConnectionsBound bound = ConnectionsBound::None; ///< why there were not more
    NetworkUsageSettings limits; ///< that were its own
    QString path; ///< of the file on disk, as it was named at the end; empty = there was none
    QString contentEncoding; ///< as which the file came; empty = as it is
    bool isEncodingAskedFor = false; ///< by the person's own headers
    bool isSkipped = false; ///< a file of its name was there, and as good as the download

    friend bool operator==(const RunSnapshot &, const RunSnapshot &) = default;
};

/// What only snapshot(id) says.
struct SnapshotDetails {
    QUrl finalUrl;
    QList<QUrl> mirrors;
    QString path; ///< of the first file on disk, as it is named now; empty = there is none
    QString contentType;
    QDateTime lastModified;
    QString contentEncoding; ///< as which the bytes that are there came; empty = as they are
    DownloadOptions options; ///< without values that are secret
    QList<QString> keptHeaders; ///< names of those whose values the list keeps
    Failure lastFailure = {}; ///< of the last run, a stop too; none = it had none, or nobody knows
    ResourceMemory memory; ///< by what the rest is known for that of the same file

    friend bool operator==(const SnapshotDetails &, const SnapshotDetails &) = default;
};

/// A download at one moment. A value: pages, added() and changed() of one engine agree in it, field by field.
struct Snapshot {
    qint64 id = 0;
    DownloadState state = DownloadState::Paused;
    QUrl url; ///< as it was asked for, without secrets
    QString folder; ///< empty = none
    QList<FileSnapshot> files = {};
    qint64 speed = 0; ///< bytes/s
    qint64 allocated = -1; ///< bytes reserved on disk so far; -1 = nothing is being reserved
    QList<ConnectionSnapshot> connections = {};
    QDateTime restingUntil; ///< when the next attempt begins; invalid = it is not Resting
    bool isFinished = false; ///< every byte is on disk
    std::optional<ChecksumResult> checksum; ///< nothing = there is nothing to compare with
    FileAssurance assurance; ///< of a finished file
    /// Of the last run; none = there was none, or the download is active. Where that was one of others, or one of
    /// many, what the list keeps of it.
    Failure failure = {};
    AbstractError error; ///< of the last run, as its module says it
    qint64 ownerPid = 0; ///< of another process that is at work on it; 0 = none is
    int ownerSecondsLeft = 0; ///< until it is free, if that process is none any more; 0 = it is seen to be
    QDateTime created; ///< invalid = not known
    QDateTime finished; ///< invalid = it is not
    std::optional<StreamSnapshot> stream; ///< nothing = its file is one to be kept
    std::optional<RunSnapshot> run; ///< nothing = it has not run in this engine of late, or others were at it since
    std::optional<SnapshotDetails> details; ///< of snapshot(id) alone

    QString name() const { return files.isEmpty() ? QString() : files.first().name; }
    qint64 size() const { return files.isEmpty() ? -1 : files.first().size; }
    qint64 done() const { return files.isEmpty() ? 0 : files.first().done; }

    QJsonObject toJson() const;
    static Snapshot fromJson(const QJsonObject &json);

    friend bool operator==(const Snapshot &, const Snapshot &) = default;
};
