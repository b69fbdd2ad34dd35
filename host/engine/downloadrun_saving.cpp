// SPDX-License-Identifier: MIT
#include <host/engine/downloadrun.h>

#include <host/network/resourceguard.h>
#include <host/policy/diskcheck.h>
#include <host/storage/claimfence.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>
#include <utility>

namespace
{

using Info = AbstractDownloadPersistentInfo;
using File = AbstractDownloadFileInfo;

}

bool DownloadRun::hasBytesOnDisk(const Info &info)
{
    return hasFileOnDisk(info) && info.files.first().bytesDownloaded() > 0;
}

/// The file's entry in its folder is another one, or not known to be on disk.
bool DownloadRun::hasOtherName(const Info &newer, const Info &older)
{
    return !hasBytesOnDisk(older) || newer.filePath(0) != older.filePath(0);
}

/// Something that the older state says is no longer so; before the file is changed to match, the list has to forget it
/// for good.
bool DownloadRun::takesBack(const Info &newer, const Info &older)
{
    if (!hasBytesOnDisk(older))
        return false;
    return newer.files.isEmpty() || !(newer.guid == older.guid)
        || !DiskCheck::keepsAllBytes(newer.files.first(), older.files.first());
}

/// The file is about to be written from its beginning, or to go: the list must not say any more what the disk holds no
/// longer. That it is the download's stays said, so that whoever comes after a crash finds it (DiskCheck::isDiscarded).
/// False = it still says so.
bool DownloadRun::forgetBytes()
{
    if (!m_list || !hasBytesOnDisk(m_saved))
        return true;
    Info begun = m_saved;
    begun.setFinished(false, true);
    for (File &file : begun.files) {
        file.fileFlags &= quint8(~File::FinalOnDisk);
        for (AbstractDownloadSection &section : file.sections)
            section.downloaded = 0;
    }
    return writeAtOnce(whatMayBeSaid(begun));
}

void DownloadRun::save()
{
    const Outbox::Scope scope(m_outbox);
    m_saveTimer.stop();
    if (mustBeSaidAtOnce(info()))
        writeAtOnce(whatMayBeSaid(info()));
    else if (isSaving())
        m_pending = Pending::AtOnce;
    else
        begin(info());
}

/// Before the file is changed to match; and where it was just made, before anything is in it: bytes of which the list
/// does not know whose they are would stay behind a process that is killed.
bool DownloadRun::mustBeSaidAtOnce(const AbstractDownloadPersistentInfo &record) const
{
    if (!m_list || m_isClaimLost)
        return false;
    const bool isJustMade = hasFileOnDisk(record) && !hasBytesOnDisk(record) && !hasFileOnDisk(m_saved);
    return isJustMade || (m_writing && takesBackFromList(record));
}

void DownloadRun::saveSoon()
{
    m_pending = std::max(m_pending, Pending::Soon);
    if (!isSaving() && !m_saveTimer.isActive())
        m_saveTimer.start();
}

void DownloadRun::begin(const AbstractDownloadPersistentInfo &snapshot)
{
    m_pending = Pending::Nothing;
    if (!m_list || !m_isLasting || m_syncFailed || !claimsNewBytes(snapshot)) {
        commit(snapshot);
        return;
    }
    m_syncing = snapshot;
    m_syncer->sync(snapshot.filePath(0), hasOtherName(snapshot, m_saved));
}

bool DownloadRun::claimsNewBytes(const AbstractDownloadPersistentInfo &snapshot) const
{
    if (!hasBytesOnDisk(snapshot))
        return false;
    return hasOtherName(snapshot, m_saved) || snapshot.isFinished() != m_saved.isFinished()
        || !DiskCheck::keepsAllBytes(m_saved.files.first(), snapshot.files.first());
}

void DownloadRun::onSynced(const FileSyncer::Outcome &outcome)
{
    const Outbox::Scope scope(m_outbox);
    Info snapshot = *std::exchange(m_syncing, std::nullopt);
    m_leastRestMs = std::min(2 * m_leastRestMs, kSaveIntervalMs);
    m_saveTimer.setInterval(int(std::clamp(kRestFactor * outcome.milliseconds, qint64(m_leastRestMs),
                                           qint64(std::numeric_limits<int>::max()))));
    // Whatever stands in its place, the disk has not been asked for this file.
    const bool isGone = outcome.error == ENOENT || m_file.isOther(outcome.file);
    if (!isGone && outcome.file.isKnown())
        m_file = outcome.file;
    if (outcome.error == 0 && !isGone && m_pending == Pending::AtOnce)
        bringUpToDate(snapshot);
    // A file that is being renamed just now is found by the next save, under its new name. One that is not found at the
    // end either can mislead nobody: the first look at the disk shows that it is not there.
    if (isGone && (m_pending == Pending::AtOnce || m_life == Life::Running))
        m_pending = std::max(m_pending, Pending::Soon);
    else if (outcome.error == 0 || isGone)
        commit(snapshot);
    else
        onSyncFailed(snapshot, outcome.error);
    if (!isSaving())
        afterSave();
}

/// What came meanwhile and says nothing else of the file needs no sync of its own.
void DownloadRun::bringUpToDate(AbstractDownloadPersistentInfo &snapshot)
{
    const Info newer = info();
    if (newer.folder != snapshot.folder || newer.files != snapshot.files)
        return;
    snapshot = newer;
    m_pending = Pending::Nothing;
}

void DownloadRun::onSyncFailed(const AbstractDownloadPersistentInfo &snapshot, int error)
{
    m_syncFailed = true;
    commit(snapshot);
    tellSaveFailed(Failure::make(Failure::Kind::NotOnDisk, Failure::Subject::of(snapshot),
                                 QString::fromLocal8Bit(std::strerror(error)), error));
}

void DownloadRun::commit(const AbstractDownloadPersistentInfo &snapshot)
{
    if (!m_list || m_isClaimLost)
        return;
    const Info record = whatMayBeSaid(snapshot);
    // Whoever takes back what the list says is about to change the file.
    if (takesBackFromList(record))
        writeAtOnce(record);
    else
        write(record);
}

/// Or from what it is about to have.
bool DownloadRun::takesBackFromList(const AbstractDownloadPersistentInfo &record) const
{
    return takesBack(record, m_saved) || (m_writing && takesBack(record, *m_writing));
}

AbstractDownloadPersistentInfo DownloadRun::whatMayBeSaid(const AbstractDownloadPersistentInfo &snapshot)
{
    Info record = snapshot;
    if (m_sources.areSeveral())
        m_sources.restore(record);
    // By its first sync a small file may have got its final name.
    if (m_file.plannedAt() > 0 && !record.files.isEmpty() && record.files.first().isOnDisk()) {
        const FileIdentity file = FileIdentity::of(record.filePath(0));
        m_file = file.isKnown() ? file : m_file;
    }
    if (m_syncFailed) {
        record.files = m_saved.files;
        record.finishedTime = m_saved.finishedTime;
        record.setFinished(m_saved.isFinished(), false);
    }
    return record;
}

/// Where the list answers at once, whoever called this goes on by itself.
void DownloadRun::write(const AbstractDownloadPersistentInfo &record)
{
    const DownloadStore::Holdings known = holdings();
    const Outbox::Scope scope(m_outbox);
    const auto onAnswer = [this, record, memory = known.memory, number = ++m_writes](const Failure &failure) {
        const Outbox::Scope scopeOfTheAnswer(m_outbox);
        m_writing.reset();
        onWritten(number, record, memory, failure);
        if (!m_isAsking)
            afterSave();
    };
    m_writing = record;
    m_isAsking = true;
    m_list->save(record, known, this, onAnswer);
    m_isAsking = false;
}

/// False = the list has nothing of it.
bool DownloadRun::writeAtOnce(const AbstractDownloadPersistentInfo &record)
{
    const Outbox::Scope scope(m_outbox);
    const bool isTakingBack = takesBackFromList(record);
    const auto lasting = isTakingBack ? DownloadStore::Lasting::Always : DownloadStore::Lasting::ThisRunOfTheMachine;
    const DownloadStore::Holdings known = holdings();
    const bool isDone = m_list->update(record, known, lasting);
    const Failure failure = isDone ? Failure() : m_list->lastFailure();
    if (failure && isTakingBack)
        giveUp(failure);
    onWritten(++m_writes, record, known.memory, failure);
    return isDone;
}

/// @param number of the write; the answer to one that was overtaken comes later, and is older
void DownloadRun::onWritten(quint64 number, const AbstractDownloadPersistentInfo &record,
                            const std::optional<ResourceMemory> &memory, const Failure &failure)
{
    if (failure.kind == Failure::Kind::OwnedByOther) {
        loseClaim(failure);
    } else if (failure) {
        Failure told = failure;
        told.subject.id = record.id;
        m_refused = record;
        if (!m_isGivenUp)
            tellSaveFailed(told);
    } else if (number > m_written) {
        m_written = number;
        m_saved = record;
        m_refused.reset();
        if (memory)
            m_lease.memory = *memory;
        m_savedMemory = memory ? memory : m_savedMemory;
    }
}

void DownloadRun::lookAfterClaim()
{
    if (m_life == Life::Running && m_fence && !m_fence->holds())
        loseClaim(m_fence->lost());
}

void DownloadRun::loseClaim(const Failure &who)
{
    m_isClaimLost = true;
    // The stop comes later, and to what is under way in other threads later still.
    if (m_fence)
        m_fence->lose(who);
    giveUp(who);
}

void DownloadRun::giveUp(const Failure &why)
{
    if (std::exchange(m_isGivenUp, true))
        return;
    // It may stand in the middle of telling something.
    QMetaObject::invokeMethod(this, &DownloadRun::stop, Qt::QueuedConnection);
    const Outbox::Scope scope(m_outbox);
    m_outbox.put([this, why] { Q_EMIT cannotGoOn(why); });
}

/// Within the scope of who saves.
void DownloadRun::tellSaveFailed(const Failure &failure)
{
    m_outbox.put([this, failure] { Q_EMIT saveFailed(failure); });
}

/// What is remembered may be newer than the bytes beside it: it grows more doubtful, and never less.
DownloadStore::Holdings DownloadRun::holdings() const
{
    DownloadStore::Holdings holdings{m_file, m_contentEncoding, std::nullopt, m_lease.fence};
    if (m_guard && m_guard->memory() != m_savedMemory)
        holdings.memory = m_guard->memory();
    return holdings;
}

std::optional<AbstractDownloadPersistentInfo> DownloadRun::unsaved() const
{
    return m_isClaimLost ? std::nullopt : m_refused;
}

void DownloadRun::afterSave()
{
    const bool isOver = m_life > Life::Running;
    if (m_pending == Pending::AtOnce || (isOver && m_pending == Pending::Soon))
        begin(info());
    else if (m_pending == Pending::Soon)
        saveSoon();
    if (isOver && !isSaving())
        tellFinished();
}
