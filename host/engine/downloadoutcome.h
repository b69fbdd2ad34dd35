// SPDX-License-Identifier: MIT
#pragma once

#include <host/options/downloadoptions.h>
#include <host/policy/failure.h>
#include <host/policy/fileassurance.h>
#include <host/storage/listentry.h>
#include <inet/qt/download/framework/downloaddetails.h>
#include <inet/qt/download/records/abstractdownloadpersistentinfo.h>

#include <QString>

#include <optional>

/// How a queued download ended.
struct DownloadOutcome {
    qint64 id = 0;
    AbstractDownloadPersistentInfo info; ///< the record, its last error included
    DownloadOptions options; ///< that it ran with; the defaults when it never began
    DownloadDetails details;
    QString contentEncoding; ///< as which the file came, see ContentEncoding; empty = as it is
    FileAssurance assurance; ///< of a finished file
    std::optional<ListEntry> line; ///< that the list has of it now; nothing = it was not this process's, or is gone
    Failure failure; ///< none = the file is there
    double seconds = 0; ///< from its beginning, waits between attempts included
    int attempts = 1; ///< runs that it took
};
