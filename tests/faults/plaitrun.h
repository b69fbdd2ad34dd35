// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QHash>
#include <QJsonObject>
#include <QString>
#include <QStringList>

class PlaitSandbox;

/// One run of the program, perhaps interrupted, and what it came to. May be made in any thread.
struct PlaitRun {
    static constexpr int kNever = -1;
    /// The status of a run that was asked to stop.
    static constexpr int kStopped = 7;

    /// When a run is interrupted, and how.
    struct Interruption {
        int afterMs = kNever; ///< kNever: it is left alone
        int signal = 0; ///< SIGTERM asks, SIGKILL does not
    };

    int status = kNever; ///< kNever: it died, or was killed
    bool hasEnded = false; ///< in time
    bool isKilled = false; ///< by the interruption
    int tookMs = 0;
    QByteArray out;
    QByteArray err;

    /// Runs the program in the sandbox's download folder; it dies with this process.
    static PlaitRun of(const PlaitSandbox &sandbox, const QStringList &arguments, Interruption interruption,
                       int patienceMs);

    /// Of its output of "--json", by the addresses that were asked for.
    QHash<QString, QJsonObject> summaries() const;
};
