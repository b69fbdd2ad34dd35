// SPDX-License-Identifier: MIT
#pragma once

#include <host/parsing/clause.h>

#include <QByteArray>
#include <QCryptographicHash>
#include <QObject>
#include <QString>
#include <QThread>

#include <functional>
#include <memory>

/// Hashes a file while it grows from its beginning, in a thread of its own: what it has passed need not be kept.
///
///     follow() … follow(), finish() ──> hashed(), once
///
/// Lives in its owner's thread, in which it answers.
class StreamHasher : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(StreamHasher)

public:
    explicit StreamHasher(QCryptographicHash::Algorithm algorithm, QObject *parent = nullptr);
    /// Gives up on what is not done.
    ~StreamHasher() override;

    /// The file at that path is there up to so many bytes; it may have got another name meanwhile, and is the same.
    void follow(const QString &path, qint64 bytes);
    /// The same, and there is no more than that. Once.
    void finish(const QString &path, qint64 bytes);
    /// Bytes that it needs no longer.
    qint64 passed() const { return m_passed; }

Q_SIGNALS:
    void advanced();
    /// @param digest empty = the file could not be read, see @p why
    void hashed(const QByteArray &digest, const Clause &why);

private:
    class Worker;

    void post(const std::function<void(Worker &)> &work);
    void onRead(qint64 position);

    QThread m_thread;
    const std::shared_ptr<Worker> m_worker; ///< belongs to the thread while that runs
    QObject *const m_context; ///< lives in the thread
    qint64 m_asked = 0;
    qint64 m_passed = 0;
};
