// SPDX-License-Identifier: MIT
#include <inet/qt/download/framework/filedataasyncwriter.h>

#include <inet/qt/download/framework/assertion.h>
#include <inet/qt/download/framework/fileerror.h>
#include <inet/qt/download/framework/filespacereserver.h>
#include <inet/qt/download/framework/ownfiles.h>
#include <inet/qt/download/framework/plainfile.h>
#include <inet/qt/download/framework/threadaffinity.h>

#include <QFile>
#include <QMutex>
#include <QMutexLocker>
#include <QRecursiveMutex>
#include <QThread>

#include <atomic>
#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace
{

/// A piece of the file that is sent to the disk in one go.
constexpr qint64 kWritebackStep = 8 * 1024 * 1024;

/// Has the system begin to write a range, so that the sync before the file gets its name finds little left to do. A
/// disk that is far behind makes this wait, which is right: memory would fill up with what it has not taken.
///
/// A wish and no promise. What fails here takes no error away from the sync, which finds it and tells.
void startWriteback([[maybe_unused]] int file, [[maybe_unused]] qint64 from, [[maybe_unused]] qint64 size)
{
#ifdef SYNC_FILE_RANGE_WRITE
    ::sync_file_range(file, from, size, SYNC_FILE_RANGE_WRITE);
#endif
}

int codeOf(int number, int otherwise)
{
    switch (number) {
    case ENOSPC:
    case EFBIG:
    case EDQUOT:
    case EMFILE:
    case ENFILE:
        return QFileDevice::ResourceError;
    default:
        return otherwise;
    }
}

}

/// Three kinds of state: what the owner's thread has been told, what both threads see, and what the writer's thread
/// does.
class FileDataAsyncWriter::Private
{
public:
    enum class State {
        Closed,
        Open,
        Failed, ///< data is ignored until the next open()
    };

    Private(FileDataAsyncWriter *writer, int syncEvery, qint64 step)
        : q(writer)
        , syncEveryBytes(syncEvery)
        , progressStep(qMax<qint64>(step, 1))
    {
    }

    void openFile(const QString &path, qint64 start, bool exists, int number);
    void write(const QByteArray &data);
    void closeFile();
    void seekTo(qint64 target);
    void setError(int code, const std::string &text, const std::string &source);

    FileDataAsyncWriter *const q;
    const int syncEveryBytes;
    const qint64 progressStep;

    /// Lives in the owner's thread: turns delivered signals into what the owner sees.
    QObject *ownerContext = nullptr;
    std::atomic<bool> toldOpen = false;
    std::atomic<bool> closeAsked = false; ///< by the owner, and not answered yet
    std::atomic<int> closesPending = 0; ///< closed() signals still to be delivered
    std::atomic<int> lastOpening = 0; ///< number of the newest open()

    /// Held while the owner's thread speaks for the writer, which may end in its own thread at any time.
    QRecursiveMutex speaking;
    bool isGone = false;

    mutable QMutex errorMutex;
    AbstractError lastError;
    QDateTime lastErrorTime;

    State state = State::Closed;
    int opening = 0; ///< number of the open() that the state belongs to
    QString filePath;
    OwnFiles::Permission mayChange; ///< empty = always
    std::unique_ptr<QFile> file;
    qint64 position = 0;
    qint64 lastEnd = 0; ///< behind the last byte written
    qint64 unsynced = 0;
    int writeError = 0; ///< the system's number for the write that failed; 0 = it has none
    qint64 writebackFrom = 0; ///< bytes before it are on their way to the disk
    qint64 sizeToReserve = -1;
    std::unique_ptr<FileSpaceReserver> reserver;
    qint64 reportedReserved = 0;

private:
    bool openPlainFile(const QString &path, bool exists);
    bool isTaken() const { return mayChange && !mayChange(); }
    bool failIfTaken();
    void reserve();
    void reserveStep();
    void onReserved(FileSpaceReserver::Result result);
    void reportReserved();
    qint64 writeAll(const QByteArray &data);
    int syncIfDue(qint64 written);
    void startWritebackIfDue(qint64 end);
    void failByFile(int fallbackCode, const std::string &source);
    void failByErrno(int number, int fallbackCode, const std::string &source);
    void fail(int code, const std::string &text, const std::string &source);
    void tellOwner(int number);
    void answer(void (AbstractDataAsyncProcessor::*signal)());
};

FileDataAsyncWriter::FileDataAsyncWriter(int syncEveryBytes, char placing, qint64 progressStep, QObject *parent)
    : AbstractDataAsyncProcessor(parent)
    , d(std::make_shared<Private>(this, syncEveryBytes, progressStep))
{
    DOWNLOAD_ASSERT(placing == 'P');
    d->ownerContext = new QObject;
    // First of all receivers: whoever hears of opened() or closed() in the owner's thread finds isOpen() to agree.
    connect(this, &AbstractDataAsyncProcessor::opened, d->ownerContext, [shared = d] { shared->toldOpen = true; });
    connect(this, &AbstractDataAsyncProcessor::closed, d->ownerContext, [shared = d] {
        shared->toldOpen = false;
        DOWNLOAD_ASSERT(shared->closesPending > 0);
        if (--shared->closesPending == 0)
            shared->closeAsked = false;
    });
}

FileDataAsyncWriter::~FileDataAsyncWriter()
{
    {
        const QMutexLocker lock(&d->speaking);
        d->isGone = true;
    }
    disconnect(d->ownerContext);
    if (d->ownerContext->thread() == QThread::currentThread())
        delete d->ownerContext;
    else
        d->ownerContext->deleteLater();
    d->closeFile();
}

void FileDataAsyncWriter::schedulePreallocateOnOpen(qint64 size)
{
    post([this, size] { d->sizeToReserve = size; });
}

AbstractError FileDataAsyncWriter::lastError() const
{
    const QMutexLocker lock(&d->errorMutex);
    return d->lastError;
}

QDateTime FileDataAsyncWriter::lastErrorTime() const
{
    const QMutexLocker lock(&d->errorMutex);
    return d->lastErrorTime;
}

void FileDataAsyncWriter::clearLastError()
{
    d->setError(0, {}, {});
}

bool FileDataAsyncWriter::isOpen() const
{
    return d->toldOpen;
}

void FileDataAsyncWriter::open(const QString &path, qint64 position, bool exists)
{
    d->closeAsked = false;
    const int number = ++d->lastOpening;
    post([this, path, position, exists, number] { d->openFile(path, position, exists, number); });
}

void FileDataAsyncWriter::reposition(qint64 position)
{
    post([this, position] { d->seekTo(position); });
}

void FileDataAsyncWriter::close()
{
    if (d->closeAsked.exchange(true))
        return;
    ++d->closesPending;
    post([this] {
        d->closeFile();
        QMetaObject::invokeMethod(this, &AbstractDataAsyncProcessor::closed, Qt::QueuedConnection);
    });
}

void FileDataAsyncWriter::processData(const QByteArray &data)
{
    post([this, data] { d->write(data); });
}

void FileDataAsyncWriter::finishPendingData()
{
    post([this] {
        QMetaObject::invokeMethod(this, &AbstractDataAsyncProcessor::allDataIsProcessed, Qt::QueuedConnection);
    });
}

void FileDataAsyncWriter::restart()
{
    post([this] { d->seekTo(d->lastEnd); });
}

/// Work goes through the same queue by which a transfer's queued data arrives, so that nothing overtakes anything.
template<typename Work>
void FileDataAsyncWriter::post(Work work)
{
    if (QThread::currentThread() == thread())
        work();
    else
        QMetaObject::invokeMethod(this, std::move(work), Qt::QueuedConnection);
}

void FileDataAsyncWriter::Private::openFile(const QString &path, qint64 start, bool exists, int number)
{
    DOWNLOAD_ASSERT(isCalledAtHome(q));
    closeFile();
    opening = number;
    if (!openPlainFile(path, exists))
        return;
    state = State::Open;
    lastEnd = start;
    seekTo(start);
    if (state == State::Open)
        reserve();
    if (state == State::Open)
        answer(&AbstractDataAsyncProcessor::opened);
}

bool FileDataAsyncWriter::Private::openPlainFile(const QString &path, bool exists)
{
    filePath = path;
    mayChange = OwnFiles::permission(path);
    int error = isTaken() ? PlainFile::kTaken : 0;
    const int descriptor = error == 0 ? PlainFile::open(path, exists ? 0 : O_CREAT, error) : -1;
    file = std::make_unique<QFile>();
    if (descriptor >= 0
        && !file->open(descriptor, QIODevice::ReadWrite | QIODevice::Unbuffered, QFile::AutoCloseHandle))
        error = EIO;
    if (error == 0 && !OwnFiles::isOwn(path, descriptor))
        error = PlainFile::kAnotherFile;
    if (error != 0)
        failByErrno(error, QFileDevice::OpenError, errorSourceHere());
    return error == 0;
}

void FileDataAsyncWriter::Private::write(const QByteArray &data)
{
    DOWNLOAD_ASSERT(isCalledAtHome(q));
    if (state != State::Open || data.isEmpty())
        return;
    const qint64 written = writeAll(data);
    position += written;
    lastEnd = position;
    const int syncError = written == 0 ? 0 : syncIfDue(written);
    if (written > 0)
        QMetaObject::invokeMethod(
            q, [this, written] { Q_EMIT q->dataProcessed(written); }, Qt::QueuedConnection);
    // Of a quota and of a file that may not be so long, the system's number alone tells.
    if (written < data.size() && writeError != 0)
        failByErrno(writeError, QFileDevice::WriteError, errorSourceHere());
    else if (written < data.size())
        failByFile(QFileDevice::WriteError, errorSourceHere());
    else if (syncError != 0)
        failByErrno(syncError, QFileDevice::WriteError, errorSourceHere());
}

/// How much got written; less than all only after a failure. Who stood still between two blocks may have lost the file.
qint64 FileDataAsyncWriter::Private::writeAll(const QByteArray &data)
{
    qint64 written = 0;
    while (written < data.size()) {
        const qint64 room = writebackFrom + kWritebackStep - (position + written);
        const bool isLost = isTaken();
        const qint64 count = isLost ? -1 : file->write(data.constData() + written, qMin(data.size() - written, room));
        if (count <= 0) {
            const int number = count < 0 ? errno : 0;
            writeError = isLost ? PlainFile::kTaken : number;
            break;
        }
        written += count;
        startWritebackIfDue(position + written);
    }
    return written;
}

void FileDataAsyncWriter::Private::startWritebackIfDue(qint64 end)
{
    if (end - writebackFrom < kWritebackStep)
        return;
    startWriteback(file->handle(), writebackFrom, end - writebackFrom);
    writebackFrom = end;
}

/// The system's error number when the disk did not take the data, else 0.
int FileDataAsyncWriter::Private::syncIfDue(qint64 written)
{
    unsynced += written;
    if (syncEveryBytes <= 0 || unsynced < syncEveryBytes)
        return 0;
    unsynced = 0;
    return ::fdatasync(file->handle()) == 0 || errno == EINVAL ? 0 : errno;
}

void FileDataAsyncWriter::Private::closeFile()
{
    reserver.reset();
    if (file && file->isOpen() && syncEveryBytes > 0 && unsynced > 0)
        ::fdatasync(file->handle());
    file.reset();
    unsynced = 0;
    state = State::Closed;
}

void FileDataAsyncWriter::Private::seekTo(qint64 target)
{
    position = target;
    writebackFrom = target;
    if (state != State::Open)
        return;
    if (target < 0 || !file->seek(target))
        failByFile(QFileDevice::PositionError, errorSourceHere());
}

void FileDataAsyncWriter::Private::reserve()
{
    const qint64 size = std::exchange(sizeToReserve, -1);
    if (size < 0 || failIfTaken())
        return;
    reserver = std::make_unique<FileSpaceReserver>(filePath, size);
    reportedReserved = 0;
    onReserved(reserver->reserveAtOnce(file->handle()));
}

void FileDataAsyncWriter::Private::reserveStep()
{
    if (reserver && state == State::Open && !failIfTaken())
        onReserved(reserver->reserveStep(file->handle()));
}

void FileDataAsyncWriter::Private::onReserved(FileSpaceReserver::Result result)
{
    const qint64 size = reserver->size();
    if (result == FileSpaceReserver::Result::MoreToDo) {
        reportReserved();
        // Between two steps comes what is queued by then, so that data flows meanwhile.
        const auto next = [this, current = reserver.get()] {
            if (reserver.get() == current)
                reserveStep();
        };
        QMetaObject::invokeMethod(q, next, Qt::QueuedConnection);
        return;
    }
    const int number = reserver->errorNumber();
    reserver.reset();
    if (result == FileSpaceReserver::Result::Failed)
        failByErrno(number, QFileDevice::WriteError, errorSourceHere());
    else
        QMetaObject::invokeMethod(
            q, [this, size] { Q_EMIT q->preallocateFinished(size); }, Qt::QueuedConnection);
}

void FileDataAsyncWriter::Private::reportReserved()
{
    const qint64 reserved = reserver->reserved();
    if (reserved - reportedReserved < progressStep)
        return;
    reportedReserved = reserved;
    QMetaObject::invokeMethod(
        q, [this, reserved] { Q_EMIT q->preallocatingProgress(reserved); }, Qt::QueuedConnection);
}

bool FileDataAsyncWriter::Private::failIfTaken()
{
    const bool isLost = isTaken();
    if (isLost)
        failByErrno(PlainFile::kTaken, QFileDevice::WriteError, errorSourceHere());
    return isLost;
}

void FileDataAsyncWriter::Private::failByFile(int fallbackCode, const std::string &source)
{
    const bool known = file->error() != QFileDevice::NoError;
    fail(known ? int(file->error()) : fallbackCode, file->errorString().toStdString(), source);
}

void FileDataAsyncWriter::Private::failByErrno(int number, int fallbackCode, const std::string &source)
{
    QString text = PlainFile::reason(filePath, number);
    const std::string place = FileError::sourceWith(source, number);
    const bool isInTheWay = PlainFile::isInTheWay(number);
    if (isInTheWay)
        text = "cannot write to \""_L1 + filePath + "\": "_L1 + text
            + ". Move away what is in its place, or choose another name."_L1;
    fail(codeOf(number, fallbackCode), text.toStdString(), isInTheWay ? FileError::wholeSource(place) : place);
}

void FileDataAsyncWriter::Private::fail(int code, const std::string &text, const std::string &source)
{
    state = State::Failed;
    reserver.reset();
    setError(code, text, source);
    const auto tell = [this, number = opening] { tellOwner(number); };
    QMetaObject::invokeMethod(q, tell, Qt::QueuedConnection);
}

/// Only the owner's thread knows whether the writer was closed by now, and perhaps opened again: a failure that was on
/// its way then answers nothing any more.
void FileDataAsyncWriter::Private::tellOwner(int number)
{
    const auto tell = [shared = q->d, number] {
        const QMutexLocker lock(&shared->speaking);
        if (!shared->isGone && !shared->closeAsked && number == shared->lastOpening)
            Q_EMIT shared->q->failed();
    };
    QMetaObject::invokeMethod(ownerContext, tell, Qt::AutoConnection);
}

void FileDataAsyncWriter::Private::setError(int code, const std::string &text, const std::string &source)
{
    const QMutexLocker lock(&errorMutex);
    lastError = code == 0 ? AbstractError() : AbstractError(code, ErrorCategory::kFile, source, text);
    lastErrorTime = QDateTime::currentDateTime();
}

void FileDataAsyncWriter::Private::answer(void (AbstractDataAsyncProcessor::*signal)())
{
    QMetaObject::invokeMethod(q, signal, Qt::QueuedConnection);
}
