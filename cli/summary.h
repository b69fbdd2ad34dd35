// SPDX-License-Identifier: MIT
#pragma once

#include <cli/exitstatus.h>
#include <host/policy/checksumresult.h>
#include <host/policy/fileassurance.h>
#include <inet/qt/download/records/abstracterror.h>

#include <QString>
#include <QUrl>

#include <optional>

/// How one download ended.
struct Summary {
    QUrl url;
    QString name; ///< of the file, as it is named when it is whole; empty = unknown
    AbstractError error; ///< code 0 = none
    QString path; ///< of the file on disk, as it is named now; empty = there is none
    bool isStreamed = false; ///< it went to standard output, and is on no disk
    bool isListed = true; ///< a later command can go on with it
    qint64 bytes = 0; ///< of the resource that are on disk
    qint64 fetched = 0; ///< bytes that came in this run
    double seconds = 0; ///< that this run took
    int connections = 0; ///< most that transferred at once
    QString connectionsNote; ///< the same for people, with the reason why there were not more; may be empty
    QString connectionsBound; ///< the reason alone, as one word for programs; may be empty
    QString contentEncoding; ///< as which the file came; empty = as it is
    QString encodingNote; ///< the same for people; empty where they asked for it, or there is nothing to say
    std::optional<ChecksumResult> checksum; ///< nothing = there was nothing to compare with
    FileAssurance assurance; ///< of a finished file
    bool isThere = false; ///< it was, before anything was fetched
    bool isUpToDate = false; ///< it is there, and the server says that it has the same
    ExitStatus status = ExitStatus::Done;
    bool isSkipped = false; ///< a file that was there is as good
    bool isStopped = false; ///< on purpose
    QString errorText; ///< for people; empty = none
    QString reason; ///< what happened, of the same, as a clause; empty = nobody said so
};
