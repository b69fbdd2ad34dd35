// SPDX-License-Identifier: MIT
#include <host/engine/snapshotmaker.h>

#include <host/policy/contentencoding.h>

#include <cstdlib>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace
{

using Record = AbstractDownloadPersistentInfo;

/// Timer and clock never agree to the millisecond.
constexpr qint64 kSameTimeMs = 500;

bool isStop(const AbstractError &error)
{
    return error.category == ErrorCategory::kGeneric && error.code == int(GenericErrorCode::OperationAborted);
}

/// Enough of the record for what can be said of its failure.
Record recordOf(const ListEntry &entry)
{
    Record record;
    record.id = entry.id;
    record.url = entry.url;
    record.folder = entry.folder;
    if (!entry.name.isEmpty()) {
        AbstractDownloadFileInfo file;
        file.name = entry.name;
        file.size = entry.size;
        record.files.append(file);
    }
    return record;
}

/// Whoever compared it had both checksums.
Failure mismatchOf(const ListEntry &entry)
{
    if (!entry.finished || !entry.hasChecksum || entry.checksumResult != ChecksumResult::Different)
        return {};
    const bool isServers = entry.evidence.digest == ChecksumResult::Different;
    return Failure::make(isServers ? Failure::Kind::DigestDiffers : Failure::Kind::ChecksumDiffers,
                         Failure::Subject::of(recordOf(entry)));
}

Failure failureOf(const ListEntry &entry)
{
    if (const Failure mismatch = mismatchOf(entry))
        return mismatch;
    const bool hasFailed = entry.error && !isStop(entry.error) && !entry.finished;
    return hasFailed ? Failure::of(entry.error, recordOf(entry)) : Failure();
}

FileAssurance assuranceOf(const ListEntry &entry)
{
    if (!entry.finished)
        return {};
    return FileAssurance::of(entry.evidence, entry.hasChecksum ? std::optional(entry.checksumResult) : std::nullopt);
}

/// Of a module's own transfers: which of several servers a connection goes to is not known.
QList<ConnectionSnapshot> connectionsOfModule(const DownloadStatus &status)
{
    QList<ConnectionSnapshot> connections;
    for (auto it = status.servers.cbegin(); it != status.servers.cend(); ++it) {
        const QString server = u"%1:%2"_s.arg(it.key().host).arg(it.key().port);
        connections.append(QList<ConnectionSnapshot>(std::max(0, it->count), {server}));
    }
    const bool isOneServer = status.servers.size() == 1;
    const qsizetype places = isOneServer ? std::min(connections.size(), status.fetching.size()) : 0;
    for (qsizetype i = 0; i < places; ++i)
        connections[i].position = status.fetching.at(i);
    if (connections.size() == 1)
        connections.first().speed = status.speed;
    return connections;
}

QList<ConnectionSnapshot> connectionsOf(const DownloadStatus &status)
{
    if (status.transfers.isEmpty())
        return connectionsOfModule(status);
    QList<ConnectionSnapshot> connections;
    for (const TransferStatus &transfer : status.transfers)
        connections.append({transfer.server, transfer.position, transfer.speed});
    return connections;
}

}

DownloadState SnapshotMaker::stateAtRest(const ListEntry &entry, const Failure &failure)
{
    if (!entry.owner.isNobody())
        return DownloadState::Running;
    if (entry.isDone())
        return DownloadState::Done;
    if (entry.finished)
        return entry.checksumResult == ChecksumResult::Different ? DownloadState::Failed : DownloadState::Paused;
    const bool isStopped = failure.kind == Failure::Kind::Stopped
        || failure.kind == Failure::Kind::StoppedBeforeComparing || failure.kind == Failure::Kind::None;
    return isStopped ? DownloadState::Paused : DownloadState::Failed;
}

DownloadState SnapshotMaker::stateAtRest(const Snapshot &row)
{
    ListEntry entry;
    entry.owner.pid = row.ownerPid;
    entry.finished = row.isFinished;
    entry.hasChecksum = row.checksum.has_value();
    entry.checksumResult = row.checksum.value_or(ChecksumResult::NotCompared);
    return stateAtRest(entry, row.failure);
}

Snapshot SnapshotMaker::ofEntry(const ListEntry &entry)
{
    Snapshot snapshot;
    snapshot.id = entry.id;
    snapshot.url = entry.url;
    snapshot.folder = entry.folder;
    if (!entry.name.isEmpty() || entry.size >= 0 || entry.done > 0)
        snapshot.files.append({entry.name, entry.size, entry.done});
    snapshot.isFinished = entry.finished;
    if (entry.hasChecksum)
        snapshot.checksum = entry.checksumResult;
    snapshot.assurance = assuranceOf(entry);
    snapshot.error = entry.error;
    snapshot.failure = failureOf(entry);
    snapshot.ownerPid = entry.owner.pid;
    snapshot.ownerSecondsLeft = entry.owner.isNobody() ? 0 : entry.ownerSecondsLeft;
    snapshot.created = entry.creationTime;
    snapshot.finished = entry.finishedTime;
    snapshot.state = stateAtRest(entry, snapshot.failure);
    return snapshot;
}

RunSnapshot SnapshotMaker::runOf(const DownloadOutcome &outcome, const NetworkUsageSettings &limits)
{
    const Record &info = outcome.info;
    RunSnapshot run;
    run.attempts = outcome.attempts;
    run.seconds = outcome.seconds;
    run.mostConnections = outcome.details.mostConnections;
    run.bound = outcome.details.bound;
    run.limits = limits;
    if (!info.files.isEmpty() && info.files.first().isOnDisk())
        run.path = info.filePath(0);
    run.contentEncoding = outcome.contentEncoding;
    run.isEncodingAskedFor = ContentEncoding::isAskedFor(info.parameters.value(u"headers"_s).toMap().keys());
    return run;
}

void SnapshotMaker::putStatus(Snapshot &snapshot, const DownloadStatus &status, const QDateTime &now)
{
    snapshot.files = {{status.name, status.total, status.done, status.sections, status.fetching}};
    snapshot.speed = status.speed;
    snapshot.allocated = status.allocated;
    snapshot.connections = connectionsOf(status);
    const QDateTime until = status.retryInMs >= 0 ? now.addMSecs(status.retryInMs) : QDateTime();
    const bool isAsTold = until.isValid() && snapshot.restingUntil.isValid()
        && std::abs(snapshot.restingUntil.msecsTo(until)) < kSameTimeMs;
    if (!isAsTold)
        snapshot.restingUntil = until;
}

SnapshotDetails SnapshotMaker::detailsOf(const AbstractDownloadPersistentInfo &record, const DownloadOptions &options,
                                         const QString &contentEncoding, const ResourceMemory &memory)
{
    SnapshotDetails details;
    details.finalUrl = record.finalUrl;
    for (const AbstractDownloadMirrorInfo &mirror : record.mirrors)
        details.mirrors.append(mirror.url);
    if (!record.files.isEmpty()) {
        const AbstractDownloadFileInfo &file = record.files.first();
        details.path = file.isOnDisk() ? record.filePath(0) : QString();
        details.contentType = file.contentType;
        details.lastModified = file.lastModified;
    }
    details.contentEncoding = contentEncoding;
    details.options = options;
    details.options.user.clear();
    details.options.password.clear();
    for (SecretHeader &header : details.options.headers) {
        if (!header.value.isNull())
            details.keptHeaders.append(header.name);
        header.value = QString();
    }
    if (record.lastError)
        details.lastFailure = Failure::of(record.lastError, record);
    details.memory = memory;
    return details;
}
