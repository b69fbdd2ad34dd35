// SPDX-License-Identifier: MIT
#pragma once

#include <host/parsing/checksum.h>
#include <host/parsing/clause.h>

#include <QHash>
#include <QObject>
#include <QString>
#include <QThread>

#include <atomic>
#include <memory>

/// Hashes files in a thread of its own, one after the other. Lives in its owner's thread, in which it answers.
class FileHasher : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(FileHasher)

public:
    explicit FileHasher(QObject *parent = nullptr);
    /// Gives up on what is not done.
    ~FileHasher() override;

    /// Answered by exactly one hashed(), unless it is given up. @return the number by which that is known; never 0
    quint64 hash(const QString &path, QCryptographicHash::Algorithm algorithm);
    /// Without an answer. Nothing where there is no such number any more.
    void giveUp(quint64 number);

Q_SIGNALS:
    /// @param digest empty = the file could not be read, see @p why
    void hashed(quint64 number, const QByteArray &digest, const Clause &why);

private:
    using Wanted = std::shared_ptr<std::atomic<bool>>;

    void answer(quint64 number, const QByteArray &digest, const Clause &why);

    QThread m_thread;
    QObject *const m_worker; ///< lives in the thread
    QHash<quint64, Wanted> m_wanted; ///< shared with the thread
    quint64 m_lastNumber = 0;
};
