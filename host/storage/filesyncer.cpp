// SPDX-License-Identifier: MIT
#include <host/storage/filesyncer.h>

#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QPromise>
#include <QThreadPool>

#include <cerrno>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

/// They wait for disks, not for processors.
constexpr int kThreads = 8;

class SyncThreads : public QThreadPool
{
public:
    SyncThreads() { setMaxThreadCount(kThreads); }
};

Q_GLOBAL_STATIC(SyncThreads, syncThreads)

class Descriptor
{
    Q_DISABLE_COPY_MOVE(Descriptor)

public:
    Descriptor(const QString &path, int flags)
        : number(::open(QFile::encodeName(path).constData(), flags | O_RDONLY | O_CLOEXEC))
    {
    }

    ~Descriptor()
    {
        if (number >= 0)
            ::close(number);
    }

    const int number;
};

/// What has no disk behind it (a pipe, a device) has nothing to lose either.
int errorOf(int result)
{
    return result == 0 || errno == EINVAL || errno == ENOTSUP ? 0 : errno;
}

/// To open anything else may have consequences.
bool isPlainFile(const QString &path)
{
    struct stat status = {};
    return ::lstat(QFile::encodeName(path).constData(), &status) == 0 && S_ISREG(status.st_mode);
}

int syncFile(const QString &path, FileIdentity &identity)
{
    if (!isPlainFile(path))
        return ENOENT;
    const Descriptor file(path, O_NOFOLLOW | O_NONBLOCK | O_NOCTTY);
    if (file.number < 0)
        return errno;
    identity = FileIdentity::of(file.number);
    return errorOf(::fdatasync(file.number));
}

int syncFolder(const QString &path)
{
    const Descriptor folder(path, O_DIRECTORY);
    return folder.number < 0 ? errno : errorOf(::fsync(folder.number));
}

FileSyncer::Outcome syncNow(const QString &path, bool withName)
{
    FileSyncer::Outcome outcome;
    QElapsedTimer timer;
    timer.start();
    outcome.error = syncFile(path, outcome.file);
    if (outcome.error == 0 && withName)
        outcome.error = syncFolder(QFileInfo(path).path());
    outcome.milliseconds = timer.elapsed();
    return outcome;
}

}

FileSyncer::FileSyncer(QObject *parent)
    : QObject(parent)
    , m_watcher(this)
{
    connect(&m_watcher, &QFutureWatcherBase::finished, this, [this] { Q_EMIT synced(m_watcher.result()); });
}

FileSyncer::~FileSyncer() = default;

void FileSyncer::sync(const QString &path, bool withName)
{
    const auto promise = std::make_shared<QPromise<Outcome>>();
    promise->start();
    m_watcher.setFuture(promise->future());
    syncThreads->start([promise, path, withName] {
        promise->addResult(syncNow(path, withName));
        promise->finish();
    });
}
