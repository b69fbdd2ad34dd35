// SPDX-License-Identifier: MIT
#include <host/engine/downloadsession.h>

#include <host/engine/downloadrequest.h>
#include <host/engine/downloadrun.h>
#include <host/engine/downloadstream.h>
#include <host/policy/streamwindow.h>

using namespace Qt::StringLiterals;

namespace
{

constexpr qsizetype kLongestName = 60;

/// Nobody but the progress ever shows it.
QString nameFor(const QUrl &url)
{
    QString name = url.fileName(QUrl::FullyDecoded);
    name.removeIf([](QChar c) { return c == u'/' || !c.isPrint(); });
    if (name.isEmpty() || name.startsWith(u'.'))
        name.prepend(u"stream"_s);
    return name.left(kLongestName);
}

}

/// Null and a failure where there is no place for it. Else the request is for that place.
std::shared_ptr<DownloadStream> DownloadSession::makeStream(DownloadRequest &request, Failure *failure)
{
    Clause why;
    std::shared_ptr<DownloadStream> stream = DownloadStream::make(&why);
    if (stream) {
        request.folder = stream->folder();
        request.outputName = nameFor(request.url);
        return stream;
    }
    Failure::Subject subject;
    subject.url = request.url;
    *failure = Failure::make(Failure::Kind::CannotCreateFile, subject, why);
    return nullptr;
}

ResourceMemory DownloadSession::memoryOf(qint64 id) const
{
    if (const DownloadRun *const running = m_running.value(id))
        return running->lease().memory;
    const Lease *const held = lease(id);
    return held ? held->memory : ResourceMemory();
}

/// A module goes on with the pieces that it finds, the first of them first. False where what somebody may have read is
/// on disk no longer: what would be fetched in its place is another file to whoever reads.
bool DownloadSession::prepareStream(Lease &lease, Failure *failure) const
{
    AbstractDownloadPersistentInfo &record = lease.record;
    const StreamWindow::Ranges there = record.files.isEmpty() ? StreamWindow::Ranges() : record.files.first().sections;
    if (StreamWindow::ready(there) < m_streams.value(record.id)->ready()) {
        *failure = Failure::make(Failure::Kind::CannotBegin, Failure::Subject::of(record),
                                 {Clause::Kind::FileGone, {record.folder}});
        return false;
    }
    if (record.files.isEmpty())
        return true;
    AbstractDownloadFileInfo &file = record.files.first();
    // A file with holes is taken for one whose room has to be taken yet.
    file.fileFlags |= AbstractDownloadFileInfo::Preallocated;
    const bool isCut = usageOf(lease.options).maximumConnections != 1 && StreamWindow::isResumable(record);
    if (isCut && !record.isFinished())
        file.sections = StreamWindow::cutAhead(there);
    return true;
}
