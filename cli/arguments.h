// SPDX-License-Identifier: MIT
#pragma once

#include <host/policy/exitstatus.h>
#include <host/session/downloadrequest.h>
#include <inet/qt/download/records/networkusagesettings.h>

#include <QList>
#include <QString>

#include <optional>

/// What the command line asks for.
struct Arguments {
    struct Outcome;

    QList<DownloadRequest> requests; ///< in order; at least one
    NetworkUsageSettings usage; ///< of every single download
    bool query = false; ///< learn, do not download
    bool json = false;
    bool quiet = false;
    bool insecure = false; ///< go on with certificates that are not trusted
    QString caCertificatesFile; ///< empty = none
    QString logFile; ///< empty = none
    int logLevel = 0; ///< 0 = nothing is logged

    /// @param currentFolder what relative paths are relative to; absolute
    static Outcome parse(int argc, const char *const *argv, const QString &currentFolder);
};

/// Either arguments, or a text to end with: help on standard output, or what is wrong on standard error.
struct Arguments::Outcome {
    std::optional<Arguments> arguments;
    ExitStatus status = ExitStatus::Done;
    QString text;
};
