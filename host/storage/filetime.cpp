// SPDX-License-Identifier: MIT
#include <host/storage/filetime.h>

#include <QFile>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

constexpr qint64 kMsOfSecond = 1000;
constexpr long kNsOfMs = 1000000;

timespec timeOf(const QDateTime &time)
{
    const qint64 ms = time.toMSecsSinceEpoch();
    const qint64 rest = (ms % kMsOfSecond + kMsOfSecond) % kMsOfSecond;
    return {.tv_sec = time_t((ms - rest) / kMsOfSecond), .tv_nsec = long(rest) * kNsOfMs};
}

}

bool FileTime::set(const QString &path, const FileIdentity &file, const QDateTime &time)
{
    if (!file.isKnown() || !time.isValid())
        return false;
    // What is asked and what is changed are the same file, whatever gets its name meanwhile.
    const int descriptor = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0)
        return false;
    const timespec times[] = {{.tv_sec = 0, .tv_nsec = UTIME_OMIT}, timeOf(time)};
    const bool isSet = FileIdentity::of(descriptor) == file && ::futimens(descriptor, times) == 0;
    ::close(descriptor);
    return isSet;
}
