// SPDX-License-Identifier: MIT
#pragma once

#include <host/parsing/checksum.h>

#include <QObject>
#include <QString>
#include <QThread>

/// Hashes files in a thread of its own, one after the other.
class FileHasher : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(FileHasher)

public:
    explicit FileHasher(QObject *parent = nullptr);
    /// Gives up on what is not done.
    ~FileHasher() override;

    /// Always answered by hashed().
    void hash(qint64 id, const QString &path, QCryptographicHash::Algorithm algorithm);

Q_SIGNALS:
    /// @param digest empty = the file could not be read, see @p errorText
    void hashed(qint64 id, const QByteArray &digest, const QString &errorText);

private:
    QThread m_thread;
    QObject *const m_worker; ///< lives in the thread
};
