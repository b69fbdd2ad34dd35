// SPDX-License-Identifier: MIT
#pragma once

#include <cli/commandtable.h>
#include <cli/exitstatus.h>
#include <cli/listedrequests.h>
#include <cli/progressmode.h>
#include <host/engine/downloadrequest.h>
#include <host/engine/queueoptions.h>
#include <host/engine/sessionoptions.h>
#include <host/options/optionchanges.h>
#include <host/storage/listentry.h>

#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

/// What a command line asks for.
struct Arguments {
    struct Outcome;

    using Command = ::Command;

    Command command = Command::Get;
    QList<DownloadRequest> requests; ///< of Get and Query, in order; of SetUrl the new address alone
    QStringList badLines; ///< what is wrong with a list of addresses, a sentence each; the requests are the others
    std::optional<ListedRequests::Common> input; ///< Get: more addresses come through standard input; nothing = none do
    QList<qint64> ids; ///< of the list; those that a command is about
    OptionChanges changes; ///< of downloads that are in the list already
    bool all = false; ///< Resume: everything that is unfinished
    bool withFile = false; ///< Remove: the file, too
    bool isToAsk = false; ///< Get: the server, whether what is there already is its file still
    bool force = false; ///< SetUrl: even where the file there may be another one
    bool failed = false; ///< List, Retry: what failed
    ListFilter filter = ListFilter::All;
    QString text; ///< List: in name or address; empty = any
    int limit = 0; ///< List: lines at most; 0 = no limit
    QString sortBy; ///< List: "id", "name", "size" or "time"
    QString setAsideList; ///< CheckList, RepairList: another file than the list; absolute; empty = the list itself

    SessionOptions session;
    QueueOptions queue;
    ProgressMode progress = ProgressMode::Auto;
    bool json = false;
    bool quiet = false;
    bool verbose = false; ///< not both
    QString logFile; ///< empty = there is no home folder for one
    bool isLogNamed = false; ///< somebody wants it there
    QString onComplete; ///< program to be called for each download that is done; empty = none
    QString onError; ///< for each that failed
    int logLevel = 0; ///< 0 = nothing is logged
    QString configFile; ///< that was read or would be; empty = there is no home folder for one
    QStringList notes; ///< to say before it is done
    QString settings; ///< Config: all of them, as the file would have them

    /// What comes goes to standard output.
    bool isStreaming() const { return !requests.isEmpty() && requests.first().isStreamed; }

    /// @param currentFolder what relative paths are relative to; absolute
    static Outcome parse(int argc, const char *const *argv, const QString &currentFolder);
};

/// Either arguments, or a text to end with: help on standard output, or what is wrong on standard error.
struct Arguments::Outcome {
    std::optional<Arguments> arguments;
    ExitStatus status = ExitStatus::Done;
    QString text;
};
