// SPDX-License-Identifier: MIT
#include <host/engine/downloadqueue.h>

#include <host/engine/downloadsession.h>
#include <host/engine/queueddownload.h>

using namespace Qt::StringLiterals;

namespace
{

Failure noteOf(const QueuedDownload &active, const ChecksumSearch::Found &found)
{
    auto subject = Failure::Subject::of(active.info);
    subject.url = found.list;
    if (found.checksum)
        return Failure::make(Failure::Kind::ChecksumFound, subject, found.checksum->algorithmName());
    return Failure::make(Failure::Kind::NoChecksumFound, subject, found.isUnanswered ? found.reason : Clause());
}

}

/// It is looked for when the file is there and its name is known. False = there is nothing to look for.
bool DownloadQueue::searchChecksum(QueuedDownload &active)
{
    const bool isWanted = active.options.checksumAlgorithm.isEmpty() && !active.reading.stream && !active.isCalledOff();
    if (!isWanted || active.options.checksumSource.isEmpty())
        return false;
    active.search.reset(
        m_session.makeChecksumSearch(active.info, active.options, {m_options.mostTries, m_options.retryWaitMs}));
    connect(active.search.get(), &ChecksumSearch::retrying, this,
            [this, id = active.id](const SmallFetch::Answer &answer, int attempt, qint64 inMs) {
                onChecksumSearchRests(id, answer, attempt, inMs);
            });
    connect(active.search.get(), &ChecksumSearch::done, this,
            [this, id = active.id](const ChecksumSearch::Found &found) { onChecksumSearched(id, found); });
    active.search->begin();
    transition(active.id, DownloadState::Hashing);
    return true;
}

void DownloadQueue::onChecksumSearchRests(qint64 id, const SmallFetch::Answer &answer, int attempt, qint64 inMs)
{
    const Outbox::Scope scope(m_outbox);
    AbstractDownloadPersistentInfo list;
    list.id = id;
    list.url = answer.url;
    const Warning how{Warning::Kind::Retrying, Failure::of(answer.error, list), Warning::Next::Again, attempt, inMs};
    m_outbox.put([this, id, how] { Q_EMIT retrying(id, how); });
}

void DownloadQueue::onChecksumSearched(qint64 id, const ChecksumSearch::Found &found)
{
    const Outbox::Scope scope(m_outbox);
    QueuedDownload *const active = findIn(id, DownloadState::Hashing);
    if (!active || !active->search)
        return;
    active->search.release()->deleteLater();
    const Failure note = noteOf(*active, found);
    if (!found.checksum && active->options.isToBeCompared()) {
        end(*active, Failure::make(Failure::Kind::ChecksumNotFound, note.subject, found.reason));
        return;
    }
    warn(id, note);
    if (found.checksum)
        takeChecksum(*active, *found.checksum);
    compareChecksum(*active);
}

/// From now on it is as if somebody had given it.
void DownloadQueue::takeChecksum(QueuedDownload &active, const Checksum &checksum)
{
    const auto take = [checksum](DownloadOptions &options) {
        options.checksumAlgorithm = checksum.algorithmName();
        options.checksumHex = QString::fromLatin1(checksum.expected.toHex());
        options.checksumResult = ChecksumResult::NotCompared;
    };
    take(active.options);
    Failure failure;
    if (!m_session.changeChecksum(active.id, take, &failure))
        warn(active.id, failure);
}
