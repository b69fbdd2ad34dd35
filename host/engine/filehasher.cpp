// SPDX-License-Identifier: MIT
#include <host/engine/filehasher.h>

#include <QFile>

using namespace Qt::StringLiterals;

namespace
{

constexpr qint64 kChunk = qint64(1024) * 1024;

QByteArray digestOf(const QString &path, QCryptographicHash::Algorithm algorithm, QString *errorText)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        *errorText = file.errorString();
        return {};
    }
    QCryptographicHash hash(algorithm);
    while (!file.atEnd() && !QThread::currentThread()->isInterruptionRequested()) {
        const QByteArray chunk = file.read(kChunk);
        if (chunk.isEmpty()) {
            *errorText = file.errorString();
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

void FileHasher::hash(qint64 id, const QString &path, QCryptographicHash::Algorithm algorithm)
{
    const auto work = [this, id, path, algorithm] {
        QString errorText;
        const QByteArray digest = digestOf(path, algorithm, &errorText);
        Q_EMIT hashed(id, digest, errorText);
    };
    QMetaObject::invokeMethod(m_worker, work, Qt::QueuedConnection);
}
