// SPDX-License-Identifier: MIT
#include <cli/downloadsrunner.h>

#include <cli/printer.h>
#include <cli/standardoutput.h>
#include <cli/streamwords.h>
#include <cli/streamwriter.h>

#include <cstring>

#include <unistd.h>

using namespace Qt::StringLiterals;

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
    } else if (summary.status != ExitStatus::Done) {
        summary.errorText = StreamWords::sentence(snapshot.failure, out);
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
