// SPDX-License-Identifier: MIT
#include <host/engine/downloadsession.h>

#include <host/engine/downloadrequest.h>
#include <host/policy/diskcheck.h>
#include <host/storage/abandonedfile.h>
#include <host/storage/processidentity.h>
#include <host/storage/renamedfile.h>
#include <inet/qt/download/framework/abstractdownload.h>
#include <inet/qt/download/framework/abstractdownloadmodule.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <memory>

using namespace Qt::StringLiterals;

namespace
{

/// Of downloads with the same address, so many are compared with a new one.
constexpr int kCandidates = 3;

}

qint64 DownloadSession::claimFound(const DownloadRequest &request, QString *errorText)
{
    const QList<AbstractDownloadPersistentInfo> found =
        m_list.findUnfinished(request.url, request.folder, request.outputName);
    for (AbstractDownloadPersistentInfo record : found) {
        if (!request.isSameDownload(record) || m_running.contains(record.id))
            continue;
        if (!takeClaim(record.id, errorText))
            return 0;
        request.renew(record);
        DownloadOptions options = m_list.options(record.id);
        request.changes.applyTo(options);
        if (!m_list.update(record) || !m_list.setOptions(record.id, options))
            *errorText = m_list.lastErrorText();
        return errorText->isEmpty() ? record.id : 0;
    }
    return 0;
}

qint64 DownloadSession::insertNew(const DownloadRequest &request, QString *errorText)
{
    AbstractDownloadPersistentInfo record = request.newRecord();
    const QList<AbstractDownloadPersistentInfo> candidates = m_list.findByUrl(record.url, kCandidates);
    if (m_list.insertOwned(record, request.options) == 0) {
        *errorText = m_list.lastErrorText();
        return 0;
    }
    m_claimed.insert(record.id);
    warnOfTheSame(record, candidates);
    return record.id;
}

/// The module knows which requests are for one resource. To fetch it twice may be meant, so it is only said.
void DownloadSession::warnOfTheSame(const AbstractDownloadPersistentInfo &record,
                                    const QList<AbstractDownloadPersistentInfo> &candidates)
{
    const std::unique_ptr<AbstractDownload> download(
        candidates.isEmpty() ? nullptr : m_module->createDownload(record.id, nullptr));
    if (!download)
        return;
    download->setInfo(record);
    for (const AbstractDownloadPersistentInfo &other : candidates) {
        const CompareDownloadsResult result = download->compareDownloads(other);
        if (result != CompareDownloadsResult::SameContent && result != CompareDownloadsResult::SameSource)
            continue;
        Q_EMIT warned(record.id,
                      u"download %1 is of the same resource, in the folder \"%2\""_s.arg(
                          QString::number(other.id), QDir::toNativeSeparators(other.folder)));
        return;
    }
}

bool DownloadSession::takeClaim(qint64 id, QString *errorText)
{
    ProcessIdentity owner;
    const DownloadList::Claim claim = m_list.claim(id, &owner);
    return isTaken(id, claim, owner, errorText);
}

bool DownloadSession::isTaken(qint64 id, DownloadList::Claim claim, const ProcessIdentity &owner, QString *errorText)
{
    switch (claim) {
    case DownloadList::Claim::Taken:
        m_claimed.insert(id);
        return true;
    case DownloadList::Claim::OwnedByOther:
        *errorText =
            u"cannot begin download %1: process %2 is at work on it. Wait until that is done, or stop it."_s.arg(
                QString::number(id), QString::number(owner.pid));
        return false;
    case DownloadList::Claim::Failed:
        break;
    }
    *errorText = m_list.lastErrorText();
    return false;
}

void DownloadSession::releaseClaim(qint64 id)
{
    if (!m_held.contains(id) && m_claimed.remove(id))
        m_list.release(id);
}

std::optional<DownloadList::Taken> DownloadSession::claimToRun(qint64 id, QString *errorText)
{
    DownloadList::Taken taken;
    ProcessIdentity owner;
    const DownloadList::Claim claim = m_list.claim(id, taken, &owner);
    if (!isTaken(id, claim, owner, errorText))
        return std::nullopt;
    checkAgainstDisk(taken.record, taken.file);
    return taken;
}

void DownloadSession::checkAgainstDisk(AbstractDownloadPersistentInfo &record, const FileIdentity &file)
{
    if (record.isFinished())
        return;
    if (lengthOnDisk(record, file) == -1) {
        RenamedFile::takeBack(record, file);
        AbandonedFile::remove(record, file, m_openedAt);
    }
    const QString path = record.files.isEmpty() ? QString() : QDir::toNativeSeparators(record.filePath(0));
    const DiskCheck::Repair repair = DiskCheck::repair(record, lengthOnDisk(record, file));
    if (repair == DiskCheck::Repair::None)
        return;
    if (repair == DiskCheck::Repair::CutBack)
        Q_EMIT warned(record.id,
                      u"\"%1\" is shorter than what was downloaded; what it lacks is fetched again"_s.arg(path));
    else
        Q_EMIT warned(record.id,
                      u"\"%1\" is missing or not what the list says of it; the download begins anew"_s.arg(path));
    if (!m_list.update(record))
        Q_EMIT warned(record.id, m_list.lastErrorText());
}

qint64 DownloadSession::lengthOnDisk(const AbstractDownloadPersistentInfo &record, const FileIdentity &known)
{
    if (record.files.isEmpty())
        return -1;
    const QFileInfo file(record.filePath(0));
    const bool isOurs = file.isFile() && !file.isSymLink() && !known.isOther(FileIdentity::of(file.filePath()));
    return isOurs ? file.size() : -1;
}

void DownloadSession::checkWhole(AbstractDownloadPersistentInfo &info, const FileIdentity &file)
{
    if (info.isFinished() && !info.lastError && !DiskCheck::isWhole(info, lengthOnDisk(info, file)))
        info.setLastError({QFileDevice::FatalError, ErrorCategory::kFile, errorSourceHere(),
                           "the finished file is not on the disk in its full length"});
}

void DownloadSession::restoreSources(qint64 id, AbstractDownloadPersistentInfo info)
{
    const auto sources = m_sources.constFind(id);
    if (sources == m_sources.constEnd())
        return;
    sources->restore(info);
    m_sources.erase(sources);
    if (!m_list.update(info))
        Q_EMIT warned(id, m_list.lastErrorText());
}

/// @param how changes the record; answers why it cannot, or nothing
bool DownloadSession::change(qint64 id, const std::function<QString(AbstractDownloadPersistentInfo &)> &how,
                             QString *errorText)
{
    if (m_running.contains(id)) {
        *errorText = u"cannot change download %1: it runs. Stop it first."_s.arg(id);
        return false;
    }
    if (!takeClaim(id, errorText))
        return false;
    std::optional<AbstractDownloadPersistentInfo> record = m_list.load(id);
    if (record) {
        const QString reason = how(*record);
        if (!reason.isEmpty())
            *errorText = u"cannot change download %1: %2"_s.arg(QString::number(id), reason);
        else if (m_list.load(id) && !m_list.update(*record))
            *errorText = m_list.lastErrorText();
    } else {
        *errorText = m_list.lastErrorText();
    }
    releaseClaim(id);
    return errorText->isEmpty();
}

QString DownloadSession::deleteFiles(const AbstractDownloadPersistentInfo &record)
{
    for (int i = 0; i < record.files.size(); ++i) {
        if (!record.files.at(i).isOnDisk())
            continue;
        QFile file(record.filePath(i));
        if (!file.remove() && file.exists())
            return u"\"%1\" cannot be deleted: %2."_s.arg(QDir::toNativeSeparators(file.fileName()),
                                                          file.errorString());
    }
    return {};
}
