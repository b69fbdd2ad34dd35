// SPDX-License-Identifier: MIT
#include <inet/qt/download/downloadswww/wwwdownloadsection.h>

#include <inet/qt/download/framework/assertion.h>
#include <inet/qt/download/framework/filedataasyncwriter.h>
#include <inet/qt/download/framework/memorydataasyncwriter.h>
#include <inet/qt/download/framework/qtqobjectstracker.h>
#include <inet/qt/download/framework/runguard.h>
#include <inet/qt/download/framework/threadaffinity.h>

#include <QThread>

using namespace Qt::StringLiterals;

namespace
{
constexpr int kWriterSyncEveryBytes = 0;
constexpr char kWriterPlacing = 'P';
constexpr qint64 kWriterProgressStep = 32768;
}

bool WwwDownloadSection::isDestinationFile() const
{
    return m_info->destinationType == AbstractDownloadPersistentInfo::ToFolder;
}

void WwwDownloadSection::proceedToWriting()
{
    createWriter();
    tryOpenWriter();
}

void WwwDownloadSection::createWriter()
{
    log(u"creating writer..."_s);
    if (isDestinationFile()) {
        setWriter(new FileDataAsyncWriter(kWriterSyncEveryBytes, kWriterPlacing, kWriterProgressStep, nullptr));
        if (m_writerThread)
            m_writer->moveToThread(m_writerThread);
    } else {
        setWriter(new MemoryDataAsyncWriter(&m_info->content, this));
    }
    connectWriter(m_writer.get(), true);
    if (m_downloader)
        connectDownloaderWithWriter(m_downloader.get(), m_writer.get(), true);
}

void WwwDownloadSection::setWriter(AbstractDataAsyncProcessor *writer)
{
    releaseWriter();
    m_writer.reset(writer);
    QtQObjectsTracker::instance()->registerObject(writer, writer->metaObject()->className());
}

void WwwDownloadSection::connectWriter(AbstractDataAsyncProcessor *writer, bool connectIt)
{
    if (!connectIt) {
        disconnect(writer, nullptr, this, nullptr);
        return;
    }
    connect(writer, &AbstractDataAsyncProcessor::dataProcessed, this, &WwwDownloadSection::onWriterDataProcessed);
    connect(writer, &AbstractDataAsyncProcessor::allDataIsProcessed, this,
            &WwwDownloadSection::onWriterAllDataIsProcessed);
    connect(writer, &AbstractDataAsyncProcessor::failed, this, &WwwDownloadSection::onWriterFailed);
    connect(writer, &AbstractDataAsyncProcessor::opened, this, &WwwDownloadSection::onWriterOpened);
    connect(writer, &AbstractDataAsyncProcessor::closed, this, &WwwDownloadSection::onWriterClosed);
    if (auto *fileWriter = qobject_cast<FileDataAsyncWriter *>(writer)) {
        connect(fileWriter, &FileDataAsyncWriter::preallocatingProgress, this, &WwwDownloadSection::preallocatingFile);
        connect(fileWriter, &FileDataAsyncWriter::preallocateFinished, this,
                &WwwDownloadSection::onWriterPreallocateFinished);
    }
}

// Of the default type: queued where the writer lives in another thread, so that data keeps its place among the calls.
void WwwDownloadSection::connectDownloaderWithWriter(WwwDownloader *downloader, AbstractDataAsyncProcessor *writer,
                                                     bool connectIt)
{
    if (connectIt)
        connect(downloader, &WwwDownloader::gotData, writer, &AbstractDataAsyncProcessor::processData);
    else
        disconnect(downloader, nullptr, writer, nullptr);
}

void WwwDownloadSection::tryOpenWriter()
{
    const bool isFileThere = !isDestinationFile() || (!m_info->files.isEmpty() && m_info->files.first().isOnDisk());
    if (isFileThere)
        openWriter();
    else
        transition(State::WaitingFile);
}

void WwwDownloadSection::onFileCreated()
{
    if (m_state == State::WaitingFile)
        openWriter();
}

void WwwDownloadSection::openWriter()
{
    DOWNLOAD_ASSERT(m_writer && !m_writer->isOpen());
    if (!m_writer)
        return;
    log(u"opening writer..."_s);
    transition(State::Opening);
    const qint64 dataStart = m_info->files.isEmpty() ? 0 : m_info->files.first().dataStart;
    const qint64 position = m_section.position() + dataStart;
    if (!isDestinationFile()) {
        m_writer->open(QString(), position, false);
        return;
    }
    const AbstractDownloadFileInfo &file = m_info->files.first();
    const bool isPreallocated = (file.fileFlags & AbstractDownloadFileInfo::Preallocated) != 0;
    auto *fileWriter = qobject_cast<FileDataAsyncWriter *>(m_writer.get());
    if (fileWriter && !isPreallocated && file.size >= kSmallestPreallocatedSize && dataStart >= 0)
        fileWriter->schedulePreallocateOnOpen(dataStart + file.size);
    m_writer->open(m_info->filePath(0), position, file.isOnDisk());
}

void WwwDownloadSection::releaseWriter()
{
    if (!m_writer)
        return;
    connectWriter(m_writer.get(), false);
    if (m_downloader)
        connectDownloaderWithWriter(m_downloader.get(), m_writer.get(), false);
    m_writer.reset();
}

void WwwDownloadSection::setWriterThread(QThread *thread)
{
    if (!thread || thread == m_writerThread)
        return;
    m_writerThread = thread;
    // What is queued for a writer at work would be overtaken if calls became direct; the next writer lives there.
    const bool wouldTurnDirect = thread == QThread::currentThread() && isWriterOpeningOrOpen();
    if (m_writer && isDestinationFile() && !wouldTurnDirect)
        moveToThreadFromAnywhere(m_writer.get(), thread);
}

bool WwwDownloadSection::isWriterOpeningOrOpen() const
{
    return m_writer && (m_state == State::Opening || m_state == State::Stopping || m_writer->isOpen());
}

bool WwwDownloadSection::isValidWriterSender() const
{
    return m_writer && sender() == m_writer.get();
}

bool WwwDownloadSection::checkIfAllDataIsWritten()
{
    if (!m_writer || !m_writer->isOpen() || !m_downloader || !m_downloader->isDataProcessed())
        return false;
    if (m_state != State::Closing)
        transition(State::Closing);
    m_writer->close();
    return true;
}

void WwwDownloadSection::onWriterOpened()
{
    if (!isRunning() || !isValidWriterSender())
        return;
    log(u"writer opened."_s);
    if (m_state != State::Opening)
        return;
    transition(State::Writing);
    const RunGuard guard(this, m_runsEnded);
    if (m_downloader)
        m_downloader->setDontEmitData(false);
    // A transfer that ended with nothing to hand out sends no data whose writing would end the section.
    if (guard)
        checkIfAllDataIsWritten();
}

void WwwDownloadSection::onWriterDataProcessed(qint64 bytes)
{
    if (!isRunning() || !isValidWriterSender() || bytes <= 0)
        return;
    m_section.downloaded += bytes;
    if (m_section.size != -1 && m_section.downloaded > m_section.size) {
        m_section.downloaded = m_section.size;
        stop(AbstractError(), false);
        return;
    }
    if (!m_downloader)
        return;
    const RunGuard guard(this, m_runsEnded);
    m_downloader->onDataProcessed(bytes);
    if (guard)
        checkIfAllDataIsWritten();
}

void WwwDownloadSection::onWriterAllDataIsProcessed()
{
    if (isOver() || !isValidWriterSender() || m_transferOrigin != TransferOrigin::Renewed)
        return;
    const bool isOpen = m_writer->isOpen();
    const qint64 dataStart = m_info->files.isEmpty() ? 0 : m_info->files.first().dataStart;
    if (isOpen)
        m_writer->reposition(m_section.position() + dataStart);
    else
        m_writer->restart();
    createDownloader();
    if (isOpen)
        m_downloader->setDontEmitData(false);
    startTransfer();
}

void WwwDownloadSection::onWriterFailed()
{
    // A failure that was on its way when the close was asked for: closed() follows, and ends the section.
    if (isOver() || m_state == State::Closing || !isValidWriterSender())
        return;
    log(u"writer failed."_s);
    const AbstractError error = m_writer->lastError();
    // It will never be open, so there is no close to wait for.
    if (m_state == State::Opening)
        releaseWriter();
    stop(error, true);
}

void WwwDownloadSection::onWriterClosed()
{
    if (!isRunning() || !isValidWriterSender())
        return;
    log(u"writer closed."_s);
    if (m_state != State::Stopping) {
        checkStopped();
        return;
    }
    releaseWriter();
    transition(State::Idle);
}

void WwwDownloadSection::onWriterPreallocateFinished(qint64)
{
    if (!isRunning() || !isValidWriterSender() || m_info->files.isEmpty())
        return;
    m_info->files.first().fileFlags |= AbstractDownloadFileInfo::Preallocated;
    const RunGuard guard(this, m_runsEnded);
    Q_EMIT persistentInfoChanged();
    if (guard)
        Q_EMIT filePreallocated();
}

void WwwDownloadSection::truncateSection(WwwDownloadSection *other)
{
    m_section.size -= other->m_section.size;
    if (m_downloader && m_downloader->isRunning())
        m_downloader->truncateSection(m_section.size);
}

void WwwDownloadSection::onCompactSections(qint64 size)
{
    m_section.size += size;
    m_section.downloaded += size;
}
