// SPDX-License-Identifier: MIT
#include <host/engine/streamhasher.h>

#include <QFile>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

constexpr qint64 kChunk = qint64(1024) * 1024;

}

/// What its thread does.
class StreamHasher::Worker
{
public:
    explicit Worker(QCryptographicHash::Algorithm algorithm)
        : m_hash(algorithm)
    {
    }

    void readUpTo(const QString &path, qint64 end);
    bool hasRead(qint64 bytes) const { return m_position >= bytes; }
    QByteArray digest() const { return m_hash.result(); }
    Clause why() const { return m_why.isEmpty() ? Clause(m_file.errorString()) : m_why; }
    qint64 position() const { return m_position; }

private:
    QCryptographicHash m_hash;
    QFile m_file;
    qint64 m_position = 0;
    Clause m_why;
};

void StreamHasher::Worker::readUpTo(const QString &path, qint64 end)
{
    if (m_position >= end)
        return;
    if (!m_file.isOpen()) {
        m_file.setFileName(path);
        // Under its next name it is found the next time.
        if (!m_file.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
            return;
    }
    while (m_position < end && m_why.isEmpty() && !QThread::currentThread()->isInterruptionRequested()) {
        const QByteArray chunk = m_file.read(std::min(kChunk, end - m_position));
        // An end that comes too early is no error to the system.
        if (chunk.isEmpty())
            m_why = m_file.error() == QFileDevice::NoError
                ? Clause(Clause::Kind::FileEndsEarly, {QString::number(m_position)})
                : Clause(m_file.errorString());
        m_hash.addData(chunk);
        m_position += chunk.size();
    }
}

StreamHasher::StreamHasher(QCryptographicHash::Algorithm algorithm, QObject *parent)
    : QObject(parent)
    , m_worker(std::make_shared<Worker>(algorithm))
    , m_context(new QObject)
{
    m_thread.setObjectName(QStringLiteral("stream hasher"));
    m_context->moveToThread(&m_thread);
    connect(&m_thread, &QThread::finished, m_context, &QObject::deleteLater);
    m_thread.start(QThread::LowPriority);
}

StreamHasher::~StreamHasher()
{
    m_thread.requestInterruption();
    m_thread.quit();
    m_thread.wait();
}

void StreamHasher::follow(const QString &path, qint64 bytes)
{
    if (bytes <= m_asked)
        return;
    m_asked = bytes;
    post([path, bytes](Worker &worker) { worker.readUpTo(path, bytes); });
}

void StreamHasher::finish(const QString &path, qint64 bytes)
{
    const auto tell = [this](const QByteArray &digest, const Clause &why) { Q_EMIT hashed(digest, why); };
    post([this, tell, path, bytes](Worker &worker) {
        worker.readUpTo(path, bytes);
        const QByteArray digest = worker.hasRead(bytes) ? worker.digest() : QByteArray();
        const auto answer = [tell, digest, why = worker.why()] { tell(digest, why); };
        QMetaObject::invokeMethod(this, answer, Qt::QueuedConnection);
    });
}

void StreamHasher::post(const std::function<void(Worker &)> &work)
{
    const auto run = [this, worker = m_worker, work] {
        work(*worker);
        const auto told = [this, position = worker->position()] { onRead(position); };
        QMetaObject::invokeMethod(this, told, Qt::QueuedConnection);
    };
    QMetaObject::invokeMethod(m_context, run, Qt::QueuedConnection);
}

void StreamHasher::onRead(qint64 position)
{
    if (position <= m_passed)
        return;
    m_passed = position;
    Q_EMIT advanced();
}
