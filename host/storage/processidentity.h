// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QtGlobal>

/// One run of a process: its number is given out again after it has gone, its number and its start are not, until the
/// machine starts anew.
struct ProcessIdentity {
    qint64 pid = 0; ///< 0 = nobody
    qint64 startTime = 0; ///< ticks since the machine started, as in field 22 of /proc/<pid>/stat
    QString bootId; ///< of the run of the machine that it belongs to

    static ProcessIdentity current();
    /// Whoever has that number now; pid 0 when nobody has.
    static ProcessIdentity ofProcess(qint64 pid);

    bool isNobody() const { return pid == 0; }
    bool isAlive() const;

    friend bool operator==(const ProcessIdentity &, const ProcessIdentity &) = default;
};
