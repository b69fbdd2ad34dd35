// SPDX-License-Identifier: MIT
#include <host/storage/fileidentity.h>

#include <QFile>

#include <chrono>
#include <fcntl.h>
#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace
{

constexpr QLatin1String kPlanned("planned:");

FileIdentity identityAt(int folder, const char *path, int flags)
{
    struct statx status;
    if (::statx(folder, path, flags, STATX_INO | STATX_BTIME, &status) != 0 || !(status.stx_mask & STATX_INO))
        return {};
    // Where the time is not known it is 0 each time.
    const qint64 birth =
        status.stx_mask & STATX_BTIME ? status.stx_btime.tv_sec * Q_INT64_C(1000000000) + status.stx_btime.tv_nsec : 0;
    return {u"%1:%2"_s.arg(status.stx_ino).arg(birth)};
}

}

FileIdentity FileIdentity::planned()
{
    return {kPlanned + QString::number(now())};
}

qint64 FileIdentity::birth() const
{
    return text.startsWith(kPlanned) ? 0 : text.section(u':', 1).toLongLong();
}

qint64 FileIdentity::plannedAt() const
{
    return text.startsWith(kPlanned) ? text.mid(kPlanned.size()).toLongLong() : 0;
}

qint64 FileIdentity::now()
{
    using namespace std::chrono;
    return duration_cast<nanoseconds>(system_clock::now().time_since_epoch()).count();
}

FileIdentity FileIdentity::of(const QString &path)
{
    return identityAt(AT_FDCWD, QFile::encodeName(path).constData(), AT_SYMLINK_NOFOLLOW);
}

FileIdentity FileIdentity::of(int descriptor)
{
    return identityAt(descriptor, "", AT_EMPTY_PATH);
}
