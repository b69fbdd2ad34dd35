// SPDX-License-Identifier: MIT
#pragma once

#include <host/engine/streamsnapshot.h>

#include <QObject>

#include <memory>

/// Writes what a download streams to a descriptor, as it comes, in a thread of its own: whoever reads there may let it
/// wait for as long as he likes. Of a download that is left nothing is kept in memory but one piece.
class StreamWriter : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(StreamWriter)

public:
    /// @param descriptor stays the caller's, and open to the end of the process
    explicit StreamWriter(int descriptor, QObject *parent = nullptr);
    /// Writes no more. A thread that still waits for a reader ends with the process, or with the reader.
    ~StreamWriter() override;

    /// So much may be written by now.
    void follow(const StreamSnapshot &stream);
    /// Bytes that the descriptor has taken, as far as it was told.
    qint64 written() const { return m_written; }

Q_SIGNALS:
    /// Now and then, and when all is written that may be.
    void advanced(qint64 written);
    /// The last of all. @param error the system's number @param isOutput it cannot be written; else not be read
    void failed(int error, bool isOutput);

private:
    class Work;

    void onAdvanced(qint64 written);

    const std::shared_ptr<Work> m_work; ///< shared with the thread
    qint64 m_written = 0;
};
