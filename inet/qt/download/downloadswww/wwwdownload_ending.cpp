// SPDX-License-Identifier: MIT
#include <inet/qt/download/downloadswww/wwwdownload.h>

#include <inet/qt/download/framework/assertion.h>
#include <inet/qt/download/framework/runguard.h>

using namespace Qt::StringLiterals;

void WwwDownload::stop(const AbstractError &error)
{
    if (!isRunning())
        return;
    if (isStopping()) {
        continueToStop();
        return;
    }
    const RunGuard guard(this, m_runsEnded);
    transition(runStateWith(Stopping));
    if (!guard)
        return;

    if (!hasState(FinishNowRequested) && error && !error.isSameFailure(m_lastError))
        rememberError(error);
    log(u"stopping..."_s);
    if (!m_pack.isRunning()) {
        continueToStop();
        return;
    }
    for (const SectionPointer &item : sections(true)) {
        if (guard && item->isRunning())
            item->stop(error, false);
    }
}

void WwwDownload::continueToStop()
{
    DOWNLOAD_ASSERT(isStopping());
    const RunGuard guard(this, m_runsEnded);
    // What came since the progress timer's last beat belongs to the record too.
    updateProgress();
    if (!guard)
        return;
    if (hasState(InitialFileOps) || hasState(FinalFileOps)) {
        log(u"stopping: waiting for the file operations to finish..."_s);
        return;
    }
    if (m_pack.isRunning()) {
        log(u"stopping: waiting for the sections to stop..."_s);
        return;
    }
    if (hasState(FinishNowRequested)) {
        setState(FinishNowRequested, false);
        transition(RunState::FinishingNow);
        if (hasFile()) {
            finishWithWhatIsThere();
            return;
        }
    }
    writeErrorToRecord();
    if (guard)
        setRunning(false);
}

void WwwDownload::finishWithWhatIsThere()
{
    const RunGuard guard(this, m_runsEnded);
    m_record.settleForWhatIsThere();
    removeAllSections();
    if (!guard)
        return;
    serializeSections(false);
    onSectionsFinishedDownloading();
}

void WwwDownload::rememberError(const AbstractError &error)
{
    m_lastError = error;
    m_lastErrorTime = QDateTime::currentDateTime();
}

void WwwDownload::writeErrorToRecord()
{
    if (m_record.takeError(m_lastError, m_lastErrorTime))
        Q_EMIT changed(true);
}

void WwwDownload::onSectionsFinishedDownloading()
{
    log(u"sections finished downloading"_s);
    if (hasState(FinalFileOps))
        return;
    needFileOps();
    const QList<AbstractDownloadFileOps::FileInitializeOperation> operations =
        m_fileOps->calcFilesInitOps(m_settings, *m_record, true);
    if (operations.isEmpty() && m_record.pendingContent().isEmpty()) {
        onPostDownloadJobFinished();
        return;
    }
    transition(runStateWith(FinalFileOps));
    performFileOps(operations);
}

void WwwDownload::onPostDownloadJobFinished()
{
    log(u"finished"_s);
    const RunGuard guard(this, m_runsEnded);
    const RunGuard lives(this);
    setFinished(true);
    if (lives)
        Q_EMIT changed(true);
    if (guard)
        stop(AbstractError());
}
