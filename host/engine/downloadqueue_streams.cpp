// SPDX-License-Identifier: MIT
#include <host/engine/downloadqueue.h>

#include <host/engine/downloadsession.h>
#include <host/engine/downloadstream.h>
#include <host/engine/queueddownload.h>

#include <utility>

using namespace Qt::StringLiterals;

namespace
{

using What = StreamWindow::Verdict::What;
using Info = AbstractDownloadPersistentInfo;

void grow(DownloadStream &stream, const Info &info, const StreamWindow::Ranges &ranges)
{
    if (!info.files.isEmpty() && info.files.first().isOnDisk())
        stream.grow(StreamWindow::ready(ranges), info.filePath(0));
}

/// The record follows what is written a little later.
StreamWindow::Ranges rangesOf(const DownloadDetails &details, const Info &info)
{
    if (info.files.isEmpty())
        return {};
    return details.written.isEmpty() ? info.files.first().sections : details.written;
}

}

void DownloadQueue::follow(QueuedDownload &active)
{
    DownloadStream *const stream = active.reading.stream.get();
    if (!stream)
        return;
    stream->disconnect(this);
    connect(stream, &DownloadStream::hashed, this, [this, id = active.id](const QByteArray &digest, const Clause &why) {
        const Outbox::Scope scope(m_outbox);
        if (QueuedDownload *const hashed = findIn(id, DownloadState::Hashing))
            concludeHash(*hashed, digest, why);
    });
    if (!m_streamTick.isActive())
        m_streamTick.start();
}

void DownloadQueue::watchStreams()
{
    const Outbox::Scope scope(m_outbox);
    bool isAny = false;
    const QList<qint64> ids = activeIds();
    for (const qint64 id : ids) {
        QueuedDownload *const active = find(id);
        if (!active || !active->reading.stream)
            continue;
        isAny = true;
        if (isRunning(*active))
            watchStream(*active);
        else if (active->rest == RestReason::Reader)
            goOnForReader(*active);
    }
    if (!isAny)
        m_streamTick.stop();
}

void DownloadQueue::watchStream(QueuedDownload &active)
{
    const Info info = m_session.info(active.id);
    const StreamWindow::Ranges ranges = rangesOf(m_session.details(active.id), info);
    grow(*active.reading.stream, info, ranges);
    hashAlong(active);
    const StreamWindow::Verdict verdict = StreamWindow::judge(sampleOf(active, info, ranges));
    if (active.stop != StopReason::None || std::exchange(active.reading.verdict, verdict) == verdict)
        return;
    if (verdict.what == What::CutAhead || verdict.what == What::Wait) {
        active.stop = StopReason::Reader;
        m_session.stop(active.id);
        return;
    }
    shareConnections();
    m_session.setUsage(active.id, usageOf(active));
}

/// Before anybody watches it.
void DownloadQueue::boundForReader(QueuedDownload &active)
{
    const Info info = m_session.info(active.id);
    const StreamWindow::Ranges ranges = rangesOf(m_session.details(active.id), info);
    active.reading.verdict = {What::GoOn, StreamWindow::judge(sampleOf(active, info, ranges)).connections};
}

StreamWindow::Sample DownloadQueue::sampleOf(const QueuedDownload &active, const AbstractDownloadPersistentInfo &info,
                                             const StreamWindow::Ranges &ranges) const
{
    StreamWindow::Sample sample;
    sample.ranges = ranges;
    sample.taken = active.reading.stream->passed();
    sample.mostConnections = int(m_session.usageOf(active.options).maximumConnections);
    sample.isResumable = StreamWindow::isResumable(info);
    return sample;
}

/// By then it is known whether there is something to compare with.
void DownloadQueue::hashAlong(QueuedDownload &active)
{
    DownloadStream &stream = *active.reading.stream;
    if (!stream.hasBegun() || std::exchange(active.reading.isHashDecided, true) || stream.isHashing())
        return;
    if (const std::optional<Checksum> expected = expectedOf(active, nullptr))
        stream.hashWith(expected->algorithm);
}

/// What came faster than anybody looked is all there still. What was read before there was something to compare with is
/// not compared.
void DownloadQueue::hashStream(QueuedDownload &active)
{
    DownloadStream &stream = *active.reading.stream;
    if (!stream.isHashing() && stream.passed() > 0) {
        end(active, {});
        return;
    }
    if (!stream.isHashing())
        stream.hashWith(active.expected->algorithm);
    stream.finishHash();
    transition(active.id, DownloadState::Hashing);
}

/// True where its run was ended for the reader's sake.
bool DownloadQueue::restForReader(QueuedDownload &active)
{
    if (active.stop != StopReason::Reader)
        return false;
    if (active.reading.verdict.what == What::Wait)
        rest(active, RestReason::Reader, Job::Download);
    else
        rest(active, RestReason::Time, 0, Job::Download);
    return true;
}

void DownloadQueue::goOnForReader(QueuedDownload &active)
{
    const StreamWindow::Ranges ranges = rangesOf({}, active.info);
    if (!StreamWindow::mayGoOn(sampleOf(active, active.info, ranges)))
        return;
    rest(active, RestReason::Time, 0, Job::Download);
}

/// What the run left.
void DownloadQueue::takeForReader(QueuedDownload &active) const
{
    grow(*active.reading.stream, active.info, rangesOf({}, active.info));
    // A limit below its own was there for the reader's sake.
    const int own = int(m_session.usageOf(active.options).maximumConnections);
    if (active.details.bound == ConnectionsBound::Connections && active.details.mostConnections < own)
        active.details.bound = ConnectionsBound::None;
}

bool DownloadQueue::hasGoneOut(const QueuedDownload &active)
{
    return active.reading.stream && active.reading.stream->hasBegun();
}
