// SPDX-License-Identifier: MIT
#include <cli/downloadsrunner.h>

#include <cli/failurewords.h>
#include <cli/printer.h>
#include <cli/standardoutput.h>
#include <cli/streamwriter.h>

#include <cstring>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace
{

/// Of what cannot be put right any more.
QString sentenceOf(const Failure &failure, const QString &url, qint64 out)
{
    using Kind = Failure::Kind;
    switch (failure.kind) {
    case Kind::ResourceChanged:
        return u"cannot go on with \"%1\": the server no longer has the same file (%2), and %3 bytes of the one before "
               u"went "
               u"out already. Run the same command again for the new one."_s.arg(
                   url, failure.detail.isEmpty() ? u"its ETag, size or date changed"_s : failure.detail,
                   QString::number(out));
    case Kind::CannotResume:
        return u"cannot go on with \"%1\": the server does not send the rest of a file alone, and %2 bytes went out "
               u"already. "
               u"Run the same command again to begin anew."_s.arg(url, QString::number(out));
    case Kind::ChecksumDiffers:
    case Kind::DigestDiffers:
        return u"what came from \"%1\" is not the file that was meant: %2. All of it went out already."_s.arg(
            url, failure.detail);
    default:
        return FailureWords::sentence(failure)
            + u" %1 bytes went out before that; the same command begins anew."_s.arg(out);
    }
}

}

void DownloadsRunner::follow(const Snapshot &snapshot)
{
    if (!snapshot.stream)
        return;
    if (!m_writer) {
        m_writer = std::make_unique<StreamWriter>(STDOUT_FILENO);
        connect(m_writer.get(), &StreamWriter::advanced, this,
                [this, id = snapshot.id](qint64 written) { onWritten(id, written); });
        connect(m_writer.get(), &StreamWriter::failed, this, &DownloadsRunner::onWriterFailed);
    }
    m_writer->follow(*snapshot.stream);
}

/// All that came is to go out, also of what failed; whoever has enough waits for nothing.
bool DownloadsRunner::isBeingWritten(const Snapshot &snapshot) const
{
    return !m_stopping && snapshot.stream && m_writer && m_writer->written() < snapshot.stream->ready;
}

void DownloadsRunner::onWritten(qint64 id, qint64 written)
{
    m_engine.takeStream(id, written);
    const auto row = m_rows.constFind(id);
    if (row != m_rows.cend() && isAtRest(row->state) && !isBeingWritten(*row))
        onEnded(Snapshot(*row));
}

void DownloadsRunner::onWriterFailed(int error, bool isOutput)
{
    m_isOutputGone = isOutput;
    if (isOutput)
        m_output.giveUp(error);
    else
        m_printer.note(u"cannot read what was downloaded: %1."_s.arg(QString::fromLocal8Bit(std::strerror(error))));
    stop();
}

/// Nothing of it can be resumed. What is wrong with the output is said once, at the end.
void DownloadsRunner::explainStream(const Snapshot &snapshot, Summary &summary) const
{
    summary.isStreamed = true;
    const qint64 out = m_writer ? m_writer->written() : 0;
    if (m_isOutputGone) {
        summary.path.clear();
        summary.errorText.clear();
    } else if (summary.status == ExitStatus::Unfinished) {
        summary.errorText = u"stopped after %1 bytes; the same command begins anew"_s.arg(out);
    } else if (summary.status != ExitStatus::Done && out > 0) {
        summary.errorText = sentenceOf(snapshot.failure, snapshot.url.toDisplayString(), out);
    }
}

void DownloadsRunner::leaveStream(const Snapshot &snapshot)
{
    // It may be telling of its last bytes.
    if (m_writer)
        m_writer.release()->deleteLater();
    m_engine.remove(snapshot.id, true);
    feed();
}

/// One after the other, and none behind one that is not whole.
bool DownloadsRunner::mayAddNext() const
{
    const bool isNext = !isStreaming() || (m_expected.isEmpty() && m_unanswered == 0 && !isGivenUp());
    return !m_stopping && m_unanswered < kAtATime && m_nextRequest < m_requests.size() && isNext;
}

bool DownloadsRunner::isGivenUp() const
{
    return isStreaming() && m_status != ExitStatus::Done;
}

bool DownloadsRunner::isStreaming() const
{
    return m_arguments.isStreaming();
}
