// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QtGlobal>

/// One run of a process: its number is given out again after it has gone, its number and its start are not, until the
/// machine starts anew. Its number is one of its PID namespace's: another container, or the machine around it, has
/// other processes under the same numbers.
struct ProcessIdentity {
    qint64 pid = 0; ///< 0 = nobody
    qint64 startTime = 0; ///< ticks since the machine started, as in field 22 of /proc/<pid>/stat
    /// Of the run of the machine that it belongs to, and behind a slash its PID namespace, which what earlier versions
    /// wrote lacks.
    QString bootId;

    static ProcessIdentity current();
    /// Whoever has that number here and now; pid 0 when nobody has.
    static ProcessIdentity ofProcess(qint64 pid);

    bool isNobody() const { return pid == 0; }
    /// Its number is one of those that can be asked for here.
    bool isHere() const;
    /// False of one that is not here, too.
    bool isAlive() const;

    friend bool operator==(const ProcessIdentity &, const ProcessIdentity &) = default;
};
