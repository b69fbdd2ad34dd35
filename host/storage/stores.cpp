// SPDX-License-Identifier: MIT
#include <host/storage/stores.h>

#include <host/storage/downloadlist.h>
#include <host/storage/memorystore.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace
{

/// Why nothing can be kept in the usual place; empty = it can.
Clause obstacle()
{
    const QString path = DownloadList::defaultPath();
    if (path.isEmpty())
        return Clause::Kind::NoHomeFolder;
    const QFileInfo file(path);
    if (file.isFile())
        return DownloadList::obstacleToWriting(path);
    // Whatever else is there is looked into before anything is said of it.
    if (file.exists())
        return {};
    const bool isWritable =
        DownloadList::makeFolder(file.path()) && ::access(QFile::encodeName(file.path()).constData(), W_OK | X_OK) == 0;
    return isWritable ? Clause() : Clause(Clause::Kind::FolderNotWritable, {file.path()});
}

/// Null where it is not there, can be written as any other, or cannot be read.
std::unique_ptr<DownloadStore> openToRead(const QString &path)
{
    if (!QFileInfo(path).isFile() || DownloadList::obstacleToWriting(path).isEmpty())
        return nullptr;
    auto list = std::make_unique<DownloadList>();
    return list->openToRead(path) ? std::move(list) : nullptr;
}

std::unique_ptr<DownloadStore> openFile(const QString &path, Failure *failure)
{
    auto list = std::make_unique<DownloadList>();
    if (list->open(path))
        return list;
    *failure = list->lastFailure();
    return nullptr;
}

}

std::unique_ptr<DownloadStore> Stores::open(const StoreChoice &choice, Failure *failure)
{
    if (!choice.isKept)
        return std::make_unique<MemoryStore>();
    auto readable =
        choice.isForReading ? openToRead(choice.path.isEmpty() ? DownloadList::defaultPath() : choice.path) : nullptr;
    if (readable)
        return readable;
    if (!choice.path.isEmpty())
        return openFile(choice.path, failure);
    const Clause reason = obstacle();
    if (reason.isEmpty() || (choice.isNeeded && QFileInfo(DownloadList::defaultPath()).isFile()))
        return openFile(DownloadList::defaultPath(), failure);
    return std::make_unique<MemoryStore>(Failure::make(Failure::Kind::ListInMemory, {}, reason));
}
