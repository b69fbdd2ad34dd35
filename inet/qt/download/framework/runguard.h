// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>
#include <QPointer>

/// Tells, behind a signal, whether the world is still the one in which it was sent: receivers may end what runs, begin
/// it anew, or delete the sender.
///
///     const RunGuard guard(this, m_runsEnded);
///     Q_EMIT gotHeaders();
///     if (!guard)
///         return;
///
/// Stands before the first signal of a function, and is asked behind each that is not its last word. A local value in
/// the sender's thread.
class RunGuard
{
    Q_DISABLE_COPY_MOVE(RunGuard)

public:
    /// For what has no runs: whether the object lives.
    explicit RunGuard(const QObject *object)
        : m_object(object)
    {
    }
    /// @param runsEnded the object's own count of its runs that have ended; a member of it
    RunGuard(const QObject *object, const quint64 &runsEnded)
        : m_object(object)
        , m_runsEnded(&runsEnded)
        , m_runsEndedBefore(runsEnded)
    {
    }

    /// The object lives, and no run of it has ended since.
    explicit operator bool() const { return m_object && (!m_runsEnded || *m_runsEnded == m_runsEndedBefore); }

private:
    const QPointer<const QObject> m_object;
    const quint64 *const m_runsEnded = nullptr;
    const quint64 m_runsEndedBefore = 0;
};
