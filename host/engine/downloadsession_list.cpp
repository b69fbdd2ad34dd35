// SPDX-License-Identifier: MIT
#include <host/engine/downloadsession.h>

#include <host/engine/downloadrequest.h>
#include <host/engine/downloadstream.h>
#include <host/engine/filetakeover.h>
#include <host/engine/moduleregistry.h>
#include <host/policy/diskcheck.h>
#include <host/storage/abandonedfile.h>
#include <host/storage/claimfence.h>
#include <host/storage/renamedfile.h>
#include <host/storage/replacedfile.h>
#include <inet/qt/download/framework/abstractdownload.h>
#include <inet/qt/download/framework/abstractdownloadmodule.h>
#include <inet/qt/download/framework/fileerror.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <memory>
#include <string>

using namespace Qt::StringLiterals;

namespace
{

/// Of downloads with the same address, so many are compared with a new one.
constexpr int kCandidates = 3;
/// More are left to the end of the process.
constexpr qsizetype kReleasedAtTheEnd = 100;

Failure ownedBy(const DownloadStore::Owner &owner, qint64 id)
{
    Failure failure = Failure::make(Failure::Kind::OwnedByOther, Failure::Subject::of(id), {}, int(owner.process.pid));
    failure.secondsLeft = owner.secondsLeft;
    return failure;
}

/// Of a finished file that is not the one that was downloaded any more.
std::string wordsForOther(const AbstractDownloadPersistentInfo &info)
{
    const QString path = info.files.isEmpty() ? info.folder : info.filePath(0);
    return u"\"%1\" is not the file that was downloaded: its length is another one, or another "
           u"file took its place. It stays as it is."_s.arg(QDir::toNativeSeparators(path))
               .toStdString();
}

}

/// A download on its way into the list.
struct DownloadSession::Entering {
    const DownloadRequest &request;
    const TakenFile *taken; ///< nullptr = none
    Failure *failure;
    Lease lease;
    bool isKnown; ///< it was in the list, unfinished
    bool isRenamed; ///< the file that is taken has the name of one that is being downloaded
    QList<AbstractDownloadPersistentInfo> candidates; ///< of the same address
};

qint64 DownloadSession::add(const DownloadRequest &asked, Failure *failure, ListEntry *line, bool *isNew,
                            const TakenFile *taken)
{
    Q_ASSERT(QThread::currentThread() == thread());
    if (!isServed(asked.url, failure))
        return 0;
    // What the list does not know yet would look unfinished.
    *failure = m_unsaved.writeAllNow();
    if (*failure)
        return 0;
    DownloadRequest request = withoutSecrets(asked);
    const std::shared_ptr<DownloadStream> stream = request.isStreamed ? makeStream(request, failure) : nullptr;
    if (request.isStreamed && !stream)
        return 0;
    Entering entering{request, taken, failure, {}, false, false, {}};
    if (!m_list.together([&](DownloadStore &list) { return enter(list, entering); })) {
        if (entering.isRenamed)
            taken->giveBack();
        *failure = *failure ? *failure : listFailure();
        return 0;
    }
    const Lease &lease = entering.lease;
    noteEntered(lease);
    if (line)
        *line = lease.entry();
    if (isNew)
        *isNew = !entering.isKnown;
    if (stream)
        m_streams.insert(lease.record.id, stream);
    else
        warnOfTheSame(lease.record, entering.candidates);
    return lease.record.id;
}

/// In the list's thread. False = nothing of it is to stay in the list; the failure is the list's own unless there is
/// one.
bool DownloadSession::enter(DownloadStore &list, Entering &entering)
{
    const qint64 found = claimFound(list, entering.request, entering.failure);
    entering.isKnown = found != 0;
    if (found != 0 || *entering.failure)
        return found != 0 && list.claim(found, entering.lease) == DownloadStore::Claim::Taken;
    const TakenFile *const taken = entering.taken;
    if (taken && !isStillFree(list, entering.request, *taken, entering.failure))
        return false;
    Lease &lease = entering.lease;
    lease.record = entering.request.newRecord();
    lease.options = entering.request.options.kept();
    entering.candidates = list.findByUrl(lease.record.url, kCandidates);
    if (taken)
        taken->putInto(lease.record);
    else if (entering.request.takesOver && !entering.request.isStreamed)
        planEmpty(entering.request, lease.record);
    if (list.insertOwned(lease.record, entering.request.options) == 0)
        return false;
    entering.isRenamed = taken && makeIncomplete(*taken, entering.failure);
    return !taken || (entering.isRenamed && keepTaken(list, lease, *taken));
}

void DownloadSession::noteEntered(const Lease &lease)
{
    const qint64 id = lease.record.id;
    m_claimed.insert(id);
    m_renewals.remove(id);
    m_servers.insert(id, hostAndPortFromUrl(lease.record.downloadUrl()));
    if (const auto held = m_held.find(id); held != m_held.end() && !m_running.contains(id))
        *held = lease;
}

/// In the list's thread.
qint64 DownloadSession::claimFound(DownloadStore &list, const DownloadRequest &request, Failure *failure)
{
    const QList<AbstractDownloadPersistentInfo> found =
        list.findUnfinished(request.url, request.folder, request.outputName);
    for (AbstractDownloadPersistentInfo record : found) {
        if (!request.isSameDownload(record))
            continue;
        // What runs keeps what it began with.
        if (m_running.contains(record.id))
            return record.id;
        DownloadStore::Owner owner;
        const DownloadStore::Claim claim = list.claim(record.id, &owner);
        if (claim == DownloadStore::Claim::OwnedByOther)
            *failure = ownedBy(owner, record.id);
        if (claim != DownloadStore::Claim::Taken)
            return 0;
        request.renew(record);
        DownloadOptions options = list.options(record.id);
        request.changes.applyTo(options);
        const auto lasting = DownloadStore::Lasting::ThisRunOfTheMachine;
        return list.update(record, lasting) && list.setOptions(record.id, options) ? record.id : 0;
    }
    return 0;
}

/// The module knows which requests are for one resource. To fetch it twice may be meant, so it is only said, and not
/// at all where the other one's file is gone.
void DownloadSession::warnOfTheSame(const AbstractDownloadPersistentInfo &record,
                                    const QList<AbstractDownloadPersistentInfo> &candidates)
{
    const std::unique_ptr<AbstractDownload> download(
        candidates.isEmpty() ? nullptr : m_modules->moduleFor(record.url)->createDownload(record.id, nullptr));
    if (!download)
        return;
    download->setInfo(record);
    for (const AbstractDownloadPersistentInfo &other : candidates) {
        const CompareDownloadsResult result = download->compareDownloads(other);
        if (result != CompareDownloadsResult::SameContent && result != CompareDownloadsResult::SameSource)
            continue;
        const Failure::Subject subject = Failure::Subject::of(other);
        const bool isWhole = other.isFinished();
        if (isWhole && !QFileInfo::exists(subject.path))
            continue;
        Q_EMIT warned(record.id, Failure::make(Failure::Kind::SameResource, subject, {}, isWhole ? 1 : 0));
        return;
    }
}

bool DownloadSession::takeLease(qint64 id, Lease &lease, Failure *failure)
{
    Q_ASSERT(QThread::currentThread() == thread());
    DownloadStore::Owner owner;
    *failure = m_unsaved.writeNow(id);
    return !*failure && isTaken(id, m_list.claim(id, lease, &owner), owner, failure);
}

bool DownloadSession::isTaken(qint64 id, DownloadStore::Claim claim, const DownloadStore::Owner &owner,
                              Failure *failure)
{
    switch (claim) {
    case DownloadStore::Claim::Taken:
        m_claimed.insert(id);
        return true;
    case DownloadStore::Claim::OwnedByOther:
        *failure = ownedBy(owner, id);
        return false;
    case DownloadStore::Claim::Failed:
        break;
    }
    *failure = listFailure();
    return false;
}

void DownloadSession::releaseClaim(qint64 id)
{
    if (!m_held.contains(id) && m_claimed.remove(id)) {
        m_servers.remove(id);
        m_list.releaseSoon({id});
    }
}

/// Of many that were put into the list and have not begun, each would be a transaction. They are free once the process
/// is gone.
void DownloadSession::releaseRest()
{
    const QList<qint64> rest = m_claimed.size() > kReleasedAtTheEnd ? m_held.keys() : m_claimed.values();
    m_held.clear();
    for (const qint64 id : rest)
        releaseClaim(id);
}

/// 0 = it is not held.
qint64 DownloadSession::fenceOf(qint64 id) const
{
    const Lease *const held = lease(id);
    return held ? held->fence : 0;
}

std::optional<Lease> DownloadSession::claimToRun(qint64 id, Failure *failure)
{
    const Lease *const held = this->lease(id);
    Lease lease = held ? *held : Lease();
    if (!held && !takeLease(id, lease, failure))
        return std::nullopt;
    *failure = held ? lostBetweenRuns(lease) : Failure();
    if (*failure || !isServed(lease.record.url, failure)) {
        leaveClaim(id, *failure);
        return std::nullopt;
    }
    if (!checkAgainstDisk(lease)) {
        *failure = listFailure();
        leaveClaim(id, *failure);
        return std::nullopt;
    }
    return lease;
}

/// Before anything is done to its file: a process may stand still while a download rests, too.
Failure DownloadSession::lostBetweenRuns(const Lease &held)
{
    ClaimFence fence(m_list, held.record.id, held.fence);
    return fence.holds() ? Failure() : fence.lost();
}

/// What does not run after all. What is another process's is not held any more either.
void DownloadSession::leaveClaim(qint64 id, const Failure &why)
{
    if (why.kind == Failure::Kind::OwnedByOther)
        m_held.remove(id);
    releaseClaim(id);
}

/// With nothing beside the record.
bool DownloadSession::updateUnder(const Lease &lease)
{
    return m_list.update(lease.record, {{}, {}, {}, lease.fence}, DownloadStore::Lasting::Always);
}

/// And with its options, where they are others than before: both, or none.
bool DownloadSession::updateUnder(const Lease &lease, const DownloadOptions &before)
{
    if (lease.options == before)
        return updateUnder(lease);
    const DownloadStore::Holdings underFence{{}, {}, {}, lease.fence};
    const auto lasting = DownloadStore::Lasting::Always;
    const auto both = [&](DownloadStore &list) {
        return list.update(lease.record, underFence, lasting)
            && list.setOptions(lease.record.id, lease.options, lease.fence);
    };
    return m_list.together(both, lasting);
}

/// False = the list goes on saying what the disk cannot hold. The file must not grow then: it would look as if it had
/// those bytes.
bool DownloadSession::checkAgainstDisk(Lease &lease)
{
    AbstractDownloadPersistentInfo &record = lease.record;
    if (record.isFinished())
        return true;
    findFile(record, lease.file);
    const auto subject = Failure::Subject::of(record);
    const DiskCheck::Repair repair = DiskCheck::repair(record, lengthOnDisk(record, lease.file));
    if (repair == DiskCheck::Repair::None)
        return true;
    if (!updateUnder(lease))
        return false;
    const bool isCut = repair == DiskCheck::Repair::CutBack;
    Q_EMIT warned(record.id, Failure::make(isCut ? Failure::Kind::FileShorter : Failure::Kind::FileMissing, subject));
    return true;
}

/// What a process that was killed had not told the list any more.
void DownloadSession::findFile(const AbstractDownloadPersistentInfo &record, const FileIdentity &file) const
{
    const bool isOnDisk = !record.files.isEmpty() && record.files.first().isOnDisk();
    if (isOnDisk && lengthOnDisk(record, file) == -1)
        RenamedFile::takeBack(record, file);
    AbandonedFile::remove(record, file, m_openedAt);
}

qint64 DownloadSession::lengthOnDisk(const AbstractDownloadPersistentInfo &record, const FileIdentity &known)
{
    if (record.files.isEmpty())
        return -1;
    const QFileInfo file(record.filePath(0));
    const bool isOurs = file.isFile() && !file.isSymLink() && !known.isOther(FileIdentity::of(file.filePath()));
    return isOurs ? file.size() : -1;
}

/// What stands in the place of a finished file is left alone, whatever it is; where nothing does, nobody lost anything
/// by it. False = the list goes on saying that it is whole.
bool DownloadSession::fetchAgainIfGone(Lease &lease)
{
    AbstractDownloadPersistentInfo &record = lease.record;
    const bool isOfFile = record.destinationType == AbstractDownloadPersistentInfo::ToFolder && !record.files.isEmpty();
    if (!record.isFinished() || !isOfFile)
        return true;
    const QFileInfo file(record.filePath(0));
    if (file.exists() || file.isSymLink())
        return true;
    const auto subject = Failure::Subject::of(record);
    DiskCheck::forgetProgress(record);
    if (!updateUnder(lease))
        return false;
    Q_EMIT warned(record.id, Failure::make(Failure::Kind::FileMissing, subject));
    return true;
}

void DownloadSession::checkWhole(AbstractDownloadPersistentInfo &info, const FileIdentity &file)
{
    if (info.isFinished() && !info.lastError && !DiskCheck::isWhole(info, lengthOnDisk(info, file)))
        info.setLastError({QFileDevice::FatalError, ErrorCategory::kFile,
                           FileError::wholeSource(FileError::sourceWith(errorSourceHere(), ESTALE)),
                           wordsForOther(info)});
}

/// What is not held is claimed for the moment of it: another process that runs it would write its own over it.
bool DownloadSession::changeOptions(qint64 id, const std::function<void(DownloadOptions &)> &how, Failure *failure)
{
    const auto held = m_held.find(id);
    const bool isHeld = held != m_held.end();
    *failure = isHeld ? Failure() : m_unsaved.writeNow(id);
    if (*failure)
        return false;
    Lease lease = isHeld ? *held : Lease();
    DownloadStore::Owner owner;
    const bool isDone = m_list.together([&, isOurs = isHeld || m_claimed.contains(id)](DownloadStore &list) {
        if (!isHeld && list.claim(id, lease, &owner) != DownloadStore::Claim::Taken)
            return false;
        how(lease.options);
        return list.setOptions(id, lease.options, lease.fence) && (isOurs || list.release(id));
    });
    if (!isDone)
        *failure = owner.process.isNobody() ? listFailure() : ownedBy(owner, id);
    else if (isHeld)
        held->options = lease.options.kept();
    return isDone;
}

/// @param how changes record and options of what is ours by then; answers why it cannot, or no failure
bool DownloadSession::change(qint64 id, const std::function<Failure(Lease &)> &how, Failure *failure)
{
    *failure = {};
    if (m_running.contains(id)) {
        *failure = Failure::make(Failure::Kind::CannotChange, Failure::Subject::of(id), Clause::Kind::Running);
        failure->remedies = {Failure::Remedy::StopFirst};
        return false;
    }
    Lease lease;
    if (!takeLease(id, lease, failure))
        return false;
    const DownloadOptions before = lease.options;
    *failure = how(lease);
    if (!*failure && m_list.load(id) && !updateUnder(lease, before))
        *failure = listFailure();
    m_servers.remove(id);
    // Its next run is to find what was changed.
    if (const auto held = m_held.find(id);
        held != m_held.end() && m_list.claim(id, *held) != DownloadStore::Claim::Taken)
        m_held.erase(held);
    releaseClaim(id);
    return !*failure;
}

/// The file goes before the row: what the list has of it no longer, nobody would find. A row whose file is gone can be
/// removed once more.
Failure DownloadSession::leaveDisk(const Lease &lease, bool withFile)
{
    if (!withFile) {
        AbandonedFile::remove(lease.record, lease.file, m_openedAt);
        return {};
    }
    if (!lease.record.isFinished())
        findFile(lease.record, lease.file);
    return deleteFiles(lease.record, lease.file);
}

/// What stands in the place of a file is left alone. One that was to be replaced goes with that which was to take its
/// place. @param known of its first one
Failure DownloadSession::deleteFiles(const AbstractDownloadPersistentInfo &record, const FileIdentity &known)
{
    const auto notDeleted = [&record](const QString &path, const Clause &why) {
        return Failure::make(Failure::Kind::CannotDeleteFile, Failure::Subject::of(record),
                             {Clause::Kind::NotDeleted, {path}, why});
    };
    for (int i = 0; i < record.files.size(); ++i) {
        if (!record.files.at(i).isOnDisk())
            continue;
        QFile file(record.filePath(i));
        if (i == 0 && known.isOther(FileIdentity::of(file.fileName())))
            return notDeleted(file.fileName(), Clause::Kind::AnotherFile);
        if (!file.remove() && file.exists())
            return notDeleted(file.fileName(), file.errorString());
    }
    QFile replaced(ReplacedFile::pathOf(record));
    const bool isLeft = !replaced.fileName().isEmpty() && !replaced.remove() && replaced.exists();
    return isLeft ? notDeleted(replaced.fileName(), replaced.errorString()) : Failure();
}
