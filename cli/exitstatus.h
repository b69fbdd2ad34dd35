// SPDX-License-Identifier: MIT
#pragma once

#include <host/policy/failure.h>

/// What the program ends with, so that scripts can tell failures apart.
enum class ExitStatus : int {
    Done = 0,
    Unknown = 1,
    TimeOut = 2,
    NotFound = 3,
    NetworkProblem = 6,
    Unfinished = 7, ///< stopped on purpose; the same command goes on with it
    CannotResume = 8,
    DiskFull = 9,
    FileExists = 13,
    CannotCreateFile = 16,
    FileError = 17,
    NameResolution = 19,
    BadResponse = 22,
    TooManyRedirects = 23,
    Authentication = 24,
    BadOption = 28, ///< of the command line, an unsupported URL included
    ServerOverloaded = 29,
    ChecksumMismatch = 32,
    ResourceChanged = 33,
    CertificateRefused = 34,
    EndedAtOnce = 130, ///< by a second signal
    ReaderGone = 141, ///< nobody reads the answers; what a shell makes of the signal for it
};

/// The status of what failed so; Done for no failure.
ExitStatus exitStatusOf(const Failure &failure);
