// SPDX-License-Identifier: MIT
#pragma once

#include <host/engine/downloadqueue.h>
#include <inet/qt/download/records/abstracterror.h>
#include <tests/unit/host/engine/queuebench.h>

#include <QByteArray>
#include <QCryptographicHash>
#include <QString>

// What the fake module's downloads do, in the words of FakePaths::kSteps.
inline const QString kBusy = QStringLiteral("fail/HttpError/503");
inline const QString kNotFound = QStringLiteral("fail/HttpError/404");
inline const QString kChanged =
    QStringLiteral("fail/AbstractDownloadError/%1/300").arg(int(DownloadErrorCode::ResourceChanged));
inline const QString kUnresumable =
    QStringLiteral("fail/AbstractDownloadError/%1/300").arg(int(DownloadErrorCode::ResumeNotSupported));
/// Of what they fetch.
inline constexpr int kFileSize = 1000;

/// A download whose server has named the digest of this content; it is in the queue.
inline qint64 appendWithDigest(QueueBench &bench, const QByteArray &content, const DownloadOptions &options = {})
{
    const qint64 id = bench.add(QStringLiteral("done"), options);
    const AbstractDownloadPersistentInfo record = bench.session->record(id).value();
    KnownAddress address;
    address.url = record.url;
    address.identity.digest = "sha-256=" + QCryptographicHash::hash(content, QCryptographicHash::Sha256).toBase64();
    DownloadStore::Holdings holdings;
    holdings.memory = ResourceMemory{{address}, {}};
    if (!bench.session->list().update(record, holdings, DownloadStore::Lasting::Always))
        return 0;
    bench.queue->append(id);
    return id;
}

inline QueueOptions tries(int count)
{
    QueueOptions options = QueueBench::quickly();
    options.mostTries = count;
    return options;
}
