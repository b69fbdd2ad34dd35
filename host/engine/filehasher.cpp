// SPDX-License-Identifier: MIT
#include <host/engine/filehasher.h>

#include <QFile>

using namespace Qt::StringLiterals;

namespace
{

constexpr qint64 kChunk = qint64(1024) * 1024;

/// Empty, without an error, when nobody wants it any more.
QByteArray digestOf(const QString &path, QCryptographicHash::Algorithm algorithm, const std::atomic<bool> &isWanted,
                    Clause *why)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        *why = file.errorString();
        return {};
    }
    QCryptographicHash hash(algorithm);
    while (!file.atEnd()) {
        if (!isWanted || QThread::currentThread()->isInterruptionRequested())
            return {};
        const QByteArray chunk = file.read(kChunk);
        if (chunk.isEmpty()) {
            *why = file.errorString();
            return {};
        }
        hash.addData(chunk);
    }
    return hash.result();
}

}

FileHasher::FileHasher(QObject *parent)
    : QObject(parent)
    , m_worker(new QObject)
{
    m_thread.setObjectName(u"hasher"_s);
    m_worker->moveToThread(&m_thread);
    connect(&m_thread, &QThread::finished, m_worker, &QObject::deleteLater);
    m_thread.start(QThread::LowPriority);
}

FileHasher::~FileHasher()
{
    m_thread.requestInterruption();
    m_thread.quit();
    m_thread.wait();
}

quint64 FileHasher::hash(const QString &path, QCryptographicHash::Algorithm algorithm)
{
    Q_ASSERT(QThread::currentThread() == thread());
    const quint64 number = ++m_lastNumber;
    const auto isWanted = std::make_shared<std::atomic<bool>>(true);
    m_wanted.insert(number, isWanted);
    const auto work = [this, number, path, algorithm, isWanted] {
        Clause why;
        const QByteArray digest = *isWanted ? digestOf(path, algorithm, *isWanted, &why) : QByteArray();
        const auto tell = [this, number, digest, why] { answer(number, digest, why); };
        QMetaObject::invokeMethod(this, tell, Qt::QueuedConnection);
    };
    QMetaObject::invokeMethod(m_worker, work, Qt::QueuedConnection);
    return number;
}

void FileHasher::giveUp(quint64 number)
{
    if (const Wanted wanted = m_wanted.take(number))
        *wanted = false;
}

void FileHasher::answer(quint64 number, const QByteArray &digest, const Clause &why)
{
    if (m_wanted.remove(number))
        Q_EMIT hashed(number, digest, why);
}
