// SPDX-License-Identifier: MIT
#include <inet/qt/download/downloadswww/wwwdownload.h>

#include <inet/qt/download/framework/assertion.h>
#include <inet/qt/download/framework/fileerror.h>
#include <inet/qt/download/framework/qtqobjectstracker.h>
#include <inet/qt/download/framework/runguard.h>
#include <inet/qt/download/framework/threadaffinity.h>
#include <inet/qt/download/response/httpheadersparser.h>

#include <QFile>
#include <QThread>

#include <cerrno>

using namespace Qt::StringLiterals;

namespace
{

// Reports are grouped by this place, so it stays what it was when the code around it moves.
constexpr char kSourceFile[] = "inet/qt/download/downloadswww/wwwdownload.cpp";
constexpr unsigned kPendingContentLine = 1610;

constexpr int kStatusOk = 200;

}

QSet<int> WwwDownload::supportedDestinations() const
{
    static const QSet<int> destinations{AbstractDownloadPersistentInfo::ToFolder};
    return destinations;
}

bool WwwDownload::supportsWriteOffset() const
{
    return true;
}

bool WwwDownload::setWritersThread(QThread *thread)
{
    DOWNLOAD_ASSERT(isCalledAtHome(this));
    if (!thread)
        return false;
    if (thread == m_writersThread)
        return true;
    m_writersThread = thread;
    for (const SectionPointer &item : sections(true))
        item->setWriterThread(thread);
    if (m_fileOps)
        moveToThreadFromAnywhere(m_fileOps.get(), thread);
    return true;
}

void WwwDownload::needFileOps()
{
    if (m_fileOps)
        return;
    m_fileOps.reset(new AbstractDownloadFileOps(nullptr));
    QtQObjectsTracker::instance()->registerObject(m_fileOps.get(), m_fileOps->metaObject()->className());
    m_fileOps->setTruncateFilesWhenCreating(true);
    applyFileOpsSettings();
    if (m_writersThread)
        m_fileOps->moveToThread(m_writersThread);
    connect(m_fileOps.get(), &AbstractDownloadFileOps::performInitializeOpsFinished, this,
            &WwwDownload::onPerformInitializeOpsFinished);
    connect(m_fileOps.get(), &AbstractDownloadFileOps::fileExistsActionRequired, this,
            &WwwDownload::onFileExistsActionRequired);
    connect(m_fileOps.get(), &AbstractDownloadFileOps::fileExistsActionApplied, this,
            &WwwDownload::fileExistsActionApplied);
    connect(this, &WwwDownload::stopping, m_fileOps.get(), &AbstractDownloadFileOps::withdrawQuestion);
}

void WwwDownload::applyFileOpsSettings()
{
    if (!m_fileOps || !m_record)
        return;
    const bool hasOwn = m_record->existingFileReaction != AbstractDownloadExistingFileReaction::NotSet;
    m_fileOps->setExistingFileReaction(hasOwn ? m_record->existingFileReaction : m_settings.existingFileReaction);
}

void WwwDownload::fileExistsAction(int fileIndex, AbstractDownloadFileExistsAction action)
{
    DOWNLOAD_ASSERT(isCalledAtHome(this));
    if (m_fileOps)
        m_fileOps->fileExistsAction(fileIndex, action);
}

void WwwDownload::onFileExistsActionRequired(int fileIndex, const QList<QString> &existingPaths)
{
    // Asked while the stop was on its way: nobody is going to answer.
    if (isStopping()) {
        QMetaObject::invokeMethod(m_fileOps.get(), &AbstractDownloadFileOps::withdrawQuestion, Qt::QueuedConnection);
        return;
    }
    Q_EMIT fileExistsActionRequired(fileIndex, existingPaths);
}

void WwwDownload::onSectionWaitingFileCreate()
{
    if (hasState(InitialFileOps))
        return;
    setState(InitialFileOps, true);
    needFileOps();
    const QList<AbstractDownloadFileOps::FileInitializeOperation> operations =
        m_fileOps->calcFilesInitOps(m_settings, *m_record, true);
    performFileOps(operations);
}

// Nobody can end the run before they are done.
void WwwDownload::performFileOps(const QList<AbstractDownloadFileOps::FileInitializeOperation> &operations)
{
    const RunGuard lives(this);
    Q_EMIT performingFilesOperations(true);
    if (lives)
        m_fileOps->performInitializeOps(m_record->folder, operations);
}

void WwwDownload::onPerformInitializeOpsFinished(
    const QString &, const QList<AbstractDownloadFileOps::FileInitializeOperation> &operations, int done,
    const AbstractError &error)
{
    const bool wasInitial = hasState(InitialFileOps);
    const bool wasFinal = hasState(FinalFileOps);
    DOWNLOAD_ASSERT(wasInitial || wasFinal);
    setState(InitialFileOps, false);
    const RunGuard guard(this, m_runsEnded);
    const RunGuard lives(this);
    if (wasFinal)
        transition(runStateWithout(FinalFileOps));

    // What was done before an error is done: a file that exists must not be made a second time.
    m_fileOps->applyFilesInitOpsFinished(operations, done, *m_record);
    if (error) {
        Q_EMIT performingFilesOperations(false);
        if (guard)
            endWithFilesError(error);
        return;
    }
    if (!m_record.pendingContent().isEmpty() && !writePendingContent())
        return;
    Q_EMIT changed(true);
    if (lives)
        Q_EMIT performingFilesOperations(false);
    if (wasInitial && guard)
        onFileThere();
    // Finished even where a receiver has stopped it by now, unless another run has begun.
    if (wasFinal && lives && (guard || !isRunning()))
        onPostDownloadJobFinished();
}

void WwwDownload::onFileThere()
{
    const RunGuard guard(this, m_runsEnded);
    Q_EMIT fileCreated();
    if (guard && isStopping())
        continueToStop();
}

void WwwDownload::endWithFilesError(const AbstractError &error)
{
    if (!isStopping()) {
        stop(error);
        return;
    }
    rememberError(error);
    continueToStop();
}

bool WwwDownload::writePendingContent()
{
    QFile file(hasFile() ? m_record->filePath(0) : QString());
    errno = 0;
    const bool isWritten = file.open(QIODevice::WriteOnly)
        && file.write(m_record.pendingContent()) == m_record.pendingContent().size() && file.flush();
    const int number = errno;
    if (isWritten) {
        m_record.dropPendingContent();
        return true;
    }
    const AbstractError error(int(file.error()), ErrorCategory::kFile,
                              FileError::sourceWith(errorSource(kSourceFile, kPendingContentLine), number),
                              file.errorString().toStdString());
    const RunGuard guard(this, m_runsEnded);
    Q_EMIT performingFilesOperations(false);
    if (guard)
        endWithFilesError(error);
    return false;
}

void WwwDownload::onSectionRequestHeaders(qint64 id, const QList<QString> &headers)
{
    log(u"request headers:"_s);
    for (const QString &header : headers)
        log(header);
    Q_EMIT sendingRequestHeaders(id, headers);
}

void WwwDownload::onSectionResponseHeaders(qint64 id, const QList<QString> &headers)
{
    log(u"response headers:"_s);
    for (const QString &header : headers)
        log(header);
    Q_EMIT gotResponseHeaders(id, headers);
}

void WwwDownload::checkIfResourceChanged()
{
    if (m_resourceChecker || !hasFile())
        return;
    log(u"checking if resource changed..."_s);
    m_details.checkError = {};
    m_details.checkStatus = -1;
    m_resourceChecker.reset(new WwwDownloader(m_chief, this));
    QtQObjectsTracker::instance()->registerObject(m_resourceChecker.get(),
                                                  m_resourceChecker->metaObject()->className());
    connect(m_resourceChecker.get(), &WwwDownloader::running, this, &WwwDownload::onCircDownloaderRunning);
    connect(m_resourceChecker.get(), &WwwDownloader::gotHeaders, this, &WwwDownload::onCircDownloaderGotHeaders);
    const RunGuard lives(this);
    if (m_record->hasFlag(AbstractDownloadPersistentInfo::ResourceChanged)) {
        m_record->setFlag(AbstractDownloadPersistentInfo::ResourceChanged, false);
        Q_EMIT changed(false);
    }
    if (!lives)
        return;
    m_resourceChecker->setNetworkSettings(myNetworkSettings());
    m_resourceChecker->setDontEmitData(true);
    m_resourceChecker->start(WwwDownloadSourceInfo(m_record->sourceInfo()), m_record->userAgent);
}

bool WwwDownload::isCheckedResourceChanged() const
{
    const HttpHeadersParser parser(m_resourceChecker->headers());
    const AbstractDownloadGuid guid = WwwDownloadSection::getDownloadGuid(m_record.shared(), parser);
    if (!m_record->guid.isEmpty() && !guid.isEmpty()) {
        bool same = false;
        bool differs = false;
        WwwDownloadSection::compareDownloadsByHttpEtag(guid, m_record->guid, same, differs);
        if (differs)
            return true;
    }
    return hasFile() && m_resourceChecker->httpStatusCode() == kStatusOk
        && WwwDownloadSection::isResourceChanged(firstFile(), parser);
}

void WwwDownload::onCircDownloaderGotHeaders()
{
    const bool isChanged = isCheckedResourceChanged();
    m_details.checkStatus = m_resourceChecker->httpStatusCode();
    m_resourceChecker->stop();
    if (!isChanged)
        return;
    log(u"resource is changed"_s);
    m_record->setFlag(AbstractDownloadPersistentInfo::ResourceChanged, true);
    Q_EMIT changed(false);
}

void WwwDownload::onCircDownloaderRunning(bool isRunning)
{
    if (isRunning)
        return;
    log(u"finished checking if resource changed"_s);
    m_details.checkError = m_resourceChecker->lastError();
    m_resourceChecker.reset();
    // The verdict comes behind the end of its transfer.
    QMetaObject::invokeMethod(this, &WwwDownload::resourceChecked, Qt::QueuedConnection);
}
