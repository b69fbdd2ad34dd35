// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/framework/fileidentity.h>

#include <QFutureWatcher>
#include <QObject>
#include <QString>

/// Has the disk take what was written to a file, in a thread that nothing else waits for.
///
///     sync() ──> busy ──> synced()
///
/// One sync at a time. An object that is deleted while it is busy says nothing more. Lives in the thread of its owner;
/// only the system calls run elsewhere, in one of a few threads that all objects share.
class FileSyncer : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(FileSyncer)

public:
    /// How a sync went.
    struct Outcome {
        int error = 0; ///< errno; 0 = the disk has it, ENOENT = there is no plain file of that path
        qint64 milliseconds = 0; ///< what it took
        FileIdentity file; ///< what was synced; unknown when the file could not be opened
    };

    explicit FileSyncer(QObject *parent = nullptr);
    ~FileSyncer() override;

    /// Answered by one synced(), never from inside the call. @param withName its entry in the folder, too
    virtual void sync(const QString &path, bool withName);

Q_SIGNALS:
    void synced(const FileSyncer::Outcome &outcome);

private:
    QFutureWatcher<Outcome> m_watcher;
};
