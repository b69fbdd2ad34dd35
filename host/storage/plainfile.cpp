// SPDX-License-Identifier: MIT
#include <host/storage/plainfile.h>

#include <QFile>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace
{

QString wordFor(mode_t mode)
{
    if (S_ISDIR(mode))
        return u"a folder"_s;
    if (S_ISFIFO(mode))
        return u"a named pipe"_s;
    if (S_ISSOCK(mode))
        return u"a socket"_s;
    return S_ISREG(mode) ? QString() : u"a device"_s;
}

}

QString PlainFile::obstacleAt(const QString &path)
{
    const QByteArray name = QFile::encodeName(path);
    struct stat status;
    if (::stat(name.constData(), &status) == 0)
        return wordFor(status.st_mode);
    const bool isLink = ::lstat(name.constData(), &status) == 0 && S_ISLNK(status.st_mode);
    return isLink ? u"a link that leads nowhere"_s : QString();
}
