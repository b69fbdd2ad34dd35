// SPDX-License-Identifier: MIT
#pragma once

#include <tests/support/fakereply.h>

#include <QByteArrayList>

/// A reply that gives its bytes away in the blocks in which they came, and shows no more of them than one window.
class BlockReply : public FakeReply
{
    Q_OBJECT

public:
    using FakeReply::FakeReply;

    /// One more block, told of.
    void sendBlock(const QByteArray &block);
    /// The same without a signal.
    void addBlock(const QByteArray &block);
    /// Every size that was asked for.
    QList<qint64> asked() const { return m_asked; }
    qint64 bytesHeld() const;

    Q_INVOKABLE QByteArray takeBlock(qint64 maxSize);
    /// Bounded by the read buffer's size.
    qint64 bytesAvailable() const override;

private:
    QByteArrayList m_blocks;
    QList<qint64> m_asked;

    Q_DISABLE_COPY_MOVE(BlockReply)
};
