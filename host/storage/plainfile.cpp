// SPDX-License-Identifier: MIT
#include <host/storage/plainfile.h>

#include <QFile>

#include <sys/stat.h>

namespace
{

Clause wordFor(mode_t mode)
{
    if (S_ISDIR(mode))
        return Clause::Kind::AFolder;
    if (S_ISFIFO(mode))
        return Clause::Kind::ANamedPipe;
    if (S_ISSOCK(mode))
        return Clause::Kind::ASocket;
    return S_ISREG(mode) ? Clause() : Clause::Kind::ADevice;
}

}

Clause PlainFile::obstacleAt(const QString &path)
{
    const QByteArray name = QFile::encodeName(path);
    struct stat status;
    if (::stat(name.constData(), &status) == 0)
        return wordFor(status.st_mode);
    const bool isLink = ::lstat(name.constData(), &status) == 0 && S_ISLNK(status.st_mode);
    return isLink ? Clause::Kind::ALinkToNothing : Clause();
}
