// SPDX-License-Identifier: MIT
#pragma once

#include <QtGlobal>

#include <atomic>

/// How much memory one transfer may take while its reader is busy, so that all together stay within bounds: what many
/// have to share is not much for each, and a single one needs no more than keeps its link busy. Thread-safe.
class TransferBudget
{
    Q_DISABLE_COPY_MOVE(TransferBudget)

public:
    static constexpr qint64 kTotal = 16 * 1024 * 1024;
    static constexpr qint64 kMost = 4 * 1024 * 1024;
    static constexpr qint64 kLeast = 32 * 1024;

    TransferBudget() = default;

    void enter() { ++m_running; }
    void leave() { --m_running; }
    int running() const { return m_running; }

    /// Bytes received and not yet read.
    qint64 capacity() const;
    /// Bytes of a block; at least two fit into capacity().
    qsizetype blockSize() const;
    /// Bytes of libcurl's own buffer.
    long wireBufferSize() const;

private:
    std::atomic<int> m_running = 0;
};
