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

bool isFolderNamedBy(const char *variable)
{
    return QDir::isAbsolutePath(qEnvironmentVariable(variable));
}

/// Why nothing can be kept in the usual place: the beginning of a sentence; empty = it can.
QString obstacle()
{
    if (!isFolderNamedBy("XDG_DATA_HOME") && !isFolderNamedBy("HOME"))
        return u"there is no home folder"_s;
    const QFileInfo file(DownloadList::defaultPath());
    // Whatever is there is looked into before anything is said of it.
    if (file.exists())
        return {};
    const bool isWritable =
        DownloadList::makeFolder(file.path()) && ::access(QFile::encodeName(file.path()).constData(), W_OK | X_OK) == 0;
    return isWritable ? QString() : u"the folder \"%1\" cannot be written"_s.arg(QDir::toNativeSeparators(file.path()));
}

std::unique_ptr<DownloadStore> openFile(const QString &path, QString *errorText)
{
    auto list = std::make_unique<DownloadList>();
    if (list->open(path))
        return list;
    *errorText = list->lastErrorText();
    return nullptr;
}

}

std::unique_ptr<DownloadStore> Stores::open(const StoreChoice &choice, QString *errorText)
{
    if (!choice.isKept)
        return std::make_unique<MemoryStore>();
    if (!choice.path.isEmpty())
        return openFile(choice.path, errorText);
    const QString reason = obstacle();
    if (reason.isEmpty())
        return openFile(DownloadList::defaultPath(), errorText);
    return std::make_unique<MemoryStore>(
        u"%1: the list of downloads is kept in memory, and gone when this program ends. Name a file for it with --list."_s
            .arg(reason));
}
