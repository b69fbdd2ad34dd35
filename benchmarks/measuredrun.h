// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QStringList>

/// What one run of a program took.
struct MeasuredRun {
    int status = -1; ///< its exit status; -1 = it did not start, or ended by a signal
    double seconds = 0;
    double processorSeconds = 0; ///< its own and the system's for it
    qint64 peakBytes = 0; ///< most memory that it had at once. Never less than what this process had when it began

    /// Runs it to its end, with the environment given as NAME=value and nothing on standard input.
    static MeasuredRun of(const QString &program, const QStringList &arguments, const QStringList &environment);
};
