// SPDX-License-Identifier: MIT
#pragma once

#include <host/engine/streamsnapshot.h>
#include <host/storage/spool.h>

#include <QCryptographicHash>
#include <QObject>
#include <QString>

#include <memory>

class StreamHasher;

/// What a download brings for somebody who reads it from its beginning while it comes: how far it is there, and how far
/// it was taken. What was taken, and has passed the hasher where there is one, the disk is given back.
///
///     grow() … ──> ready ──> take() … ──> taken
///        └──> the hasher, from hashWith() on ── finishHash() ──> hashed(), once
///
/// Lives in the session's thread, one to a download, from when it is put into the list until it leaves that.
class DownloadStream : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(DownloadStream)

public:
    /// Null and a reason where there is no place for it.
    static std::shared_ptr<DownloadStream> make(Clause *why);
    ~DownloadStream() override;

    /// Where the download is to put its file; absolute.
    const QString &folder() const { return m_spool->folder(); }
    const StreamSnapshot &snapshot() const { return m_snapshot; }
    qint64 ready() const { return m_snapshot.ready; }
    /// Bytes from the beginning that nobody needs any more.
    qint64 passed() const;
    /// Somebody may have read of it: it cannot be begun anew.
    bool hasBegun() const { return ready() > 0; }

    /// So many bytes of the file are there, from its beginning. What is less than before says nothing.
    /// @param path of the file, as it is named now
    void grow(qint64 ready, const QString &path);
    /// So many bytes from the beginning were read. False when they are more than there are.
    bool take(qint64 bytes);

    /// From the first byte on; before any was taken.
    void hashWith(QCryptographicHash::Algorithm algorithm);
    bool isHashing() const { return bool(m_hasher); }
    /// All is there: answered by hashed(), where it is hashed.
    void finishHash();

Q_SIGNALS:
    /// @param digest empty = the file could not be read, see @p why
    void hashed(const QByteArray &digest, const Clause &why);

private:
    explicit DownloadStream(std::unique_ptr<Spool> spool);
    void freeSpace();

    const std::unique_ptr<Spool> m_spool;
    std::unique_ptr<StreamHasher> m_hasher; ///< null = nobody wants its digest
    StreamSnapshot m_snapshot;
};
