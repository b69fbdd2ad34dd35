// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>
#include <QThread>

#include <array>

/// The threads in which files are made, written and brought to their names.
///
///     begin() ──> threadFor() … ──> end() ── all that is left to do in each ──> ended()
///
/// A small file waits longer for the disk to take its bytes and its name than for the network: in one thread, all the
/// others would wait with it. A download stays in its thread from run to run, so that whatever is done to its file
/// happens in one order. Lives in the thread of who uses it.
class WriterThreads : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(WriterThreads)

public:
    /// Most at once.
    static constexpr int kThreads = 4;

    explicit WriterThreads(QObject *parent = nullptr);
    /// Waits for what is under way.
    ~WriterThreads() override;

    /// Once.
    void begin();
    bool hasBegun() const { return m_hasBegun; }
    /// The one of that download, always the same; it runs from now on. @param id any number
    QThread *threadFor(qint64 id);
    /// Once; answered by ended(), never from inside.
    void end();

Q_SIGNALS:
    void ended();

private:
    void quit();
    void tellIfEnded();

    std::array<QThread, kThreads> m_threads;
    std::array<QObject, kThreads> m_there; ///< each lives in its thread
    bool m_hasBegun = false;
    bool m_isEnding = false;
};
