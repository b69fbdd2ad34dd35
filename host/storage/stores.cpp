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

/// Why nothing can be kept in the usual place: a clause; empty = it can.
QString obstacle()
{
    const QString path = DownloadList::defaultPath();
    if (path.isEmpty())
        return u"there is no home folder"_s;
    const QFileInfo file(path);
    // Whatever is there is looked into before anything is said of it.
    if (file.exists())
        return {};
    const bool isWritable =
        DownloadList::makeFolder(file.path()) && ::access(QFile::encodeName(file.path()).constData(), W_OK | X_OK) == 0;
    return isWritable ? QString() : u"the folder \"%1\" cannot be written"_s.arg(QDir::toNativeSeparators(file.path()));
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
    if (!choice.path.isEmpty())
        return openFile(choice.path, failure);
    const QString reason = obstacle();
    if (reason.isEmpty())
        return openFile(DownloadList::defaultPath(), failure);
    return std::make_unique<MemoryStore>(Failure::make(Failure::Kind::ListInMemory, {}, reason));
}
