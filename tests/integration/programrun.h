// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QHash>
#include <QJsonObject>
#include <QString>
#include <QStringList>

#include <functional>

class PlaitSandbox;

/// One run of a program, plait or another, perhaps interrupted, and what it came to. May be made in any thread, events
/// or not.
struct ProgramRun {
    static constexpr int kNever = -1;

    /// When a run is interrupted, and how.
    struct Interruption {
        int afterMs = kNever; ///< kNever: not at a time
        int signal = 0; ///< SIGTERM and SIGINT ask, SIGKILL does not
        /// Asked again and again while the program runs, until it says yes for the first time; none: not on a
        /// condition.
        std::function<bool()> isTime = {};
    };

    int status = kNever; ///< kNever: it died, was killed, or did not start
    bool hasEnded = false; ///< in time
    bool isKilled = false; ///< by the interruption
    int tookMs = 0;
    QByteArray out;
    QByteArray err;

    /// Runs it in the sandbox's download folder and environment; it dies with this thread.
    /// @param patienceMs for which it may run, and again so long when it has been interrupted
    static ProgramRun of(const PlaitSandbox &sandbox, const QString &program, const QStringList &arguments,
                         int patienceMs, const Interruption &interruption);

    /// Of plait's output of "--json", by the addresses that were asked for.
    QHash<QString, QJsonObject> summaries() const;
};
