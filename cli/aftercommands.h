// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>
#include <QString>

class QProcess;

/// Programs of the person's that are called when downloads have ended, while others go on. What they write goes where
/// this program's errors go, for its answers may be read by others; they read nothing.
/// Whoever still runs when this object goes is killed.
class AfterCommands : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(AfterCommands)

public:
    using QObject::QObject;
    /// Whether there is such a program: a path, or a name that is looked up in PATH.
    static bool isProgram(const QString &command);

    /// Calls it with the path of a download's file (empty = there is none) and the download's number. No shell reads
    /// either.
    void call(const QString &command, const QString &path, qint64 id);
    bool isIdle() const { return m_running == 0; }

Q_SIGNALS:
    /// One could not be called, or ended with another status than 0. @param reason a clause
    void failed(qint64 id, const QString &command, const QString &reason);
    /// The last of them has ended.
    void idle();

private:
    void end(QProcess *process, qint64 id, const QString &reason);

    int m_running = 0;
};
