// SPDX-License-Identifier: MIT
#include <host/engine/downloadstream.h>

#include <host/engine/streamhasher.h>

#include <algorithm>
#include <utility>

std::shared_ptr<DownloadStream> DownloadStream::make(Clause *why)
{
    std::unique_ptr<Spool> spool = Spool::make(why);
    return spool ? std::shared_ptr<DownloadStream>(new DownloadStream(std::move(spool))) : nullptr;
}

DownloadStream::DownloadStream(std::unique_ptr<Spool> spool)
    : m_spool(std::move(spool))
{
}

DownloadStream::~DownloadStream() = default;

void DownloadStream::grow(qint64 ready, const QString &path)
{
    if (ready <= 0 || !m_spool->setFile(path))
        return;
    m_snapshot.path = path;
    m_snapshot.ready = std::max(m_snapshot.ready, ready);
    if (m_hasher)
        m_hasher->follow(path, m_snapshot.ready);
}

bool DownloadStream::take(qint64 bytes)
{
    if (bytes > m_snapshot.ready)
        return false;
    m_snapshot.taken = std::max(m_snapshot.taken, bytes);
    freeSpace();
    return true;
}

void DownloadStream::hashWith(QCryptographicHash::Algorithm algorithm)
{
    m_hasher = std::make_unique<StreamHasher>(algorithm);
    connect(m_hasher.get(), &StreamHasher::advanced, this, &DownloadStream::freeSpace);
    connect(m_hasher.get(), &StreamHasher::hashed, this, &DownloadStream::hashed);
}

void DownloadStream::finishHash()
{
    if (m_hasher)
        m_hasher->finish(m_snapshot.path, m_snapshot.ready);
}

qint64 DownloadStream::passed() const
{
    return m_hasher ? std::min(m_snapshot.taken, m_hasher->passed()) : m_snapshot.taken;
}

void DownloadStream::freeSpace()
{
    m_spool->free(passed());
}
