// SPDX-License-Identifier: MIT
#include <inet/qt/download/framework/fileidentity.h>

#include <QFile>

#include <chrono>
#include <fcntl.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace
{

constexpr QLatin1String kPlanned("planned:");

constexpr unsigned long kExFat = 0x2011bab0;

/// These number a file anew each time they come across it.
bool numbersLast(int file)
{
    struct statfs disk = {};
    if (::fstatfs(file, &disk) != 0)
        return false;
    const auto type = static_cast<unsigned long>(disk.f_type);
    return type != MSDOS_SUPER_MAGIC && type != kExFat;
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

quint64 FileIdentity::number() const
{
    return text.startsWith(kPlanned) ? 0 : text.section(u':', 0, 0).toULongLong();
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

bool FileIdentity::isOther(const FileIdentity &file) const
{
    if (birth() == 0 || file.birth() == 0)
        return false;
    const bool areNumbered = number() != 0 && file.number() != 0;
    return birth() != file.birth() || (areNumbered && number() != file.number());
}

FileIdentity FileIdentity::of(const QString &path)
{
    return in(AT_FDCWD, path);
}

FileIdentity FileIdentity::in(int folder, const QString &name)
{
    const int file = ::openat(folder, QFile::encodeName(name).constData(), O_PATH | O_NOFOLLOW | O_CLOEXEC);
    const FileIdentity identity = of(file);
    if (file >= 0)
        ::close(file);
    return identity;
}

FileIdentity FileIdentity::of(int descriptor)
{
    struct statx status = {};
    if (descriptor < 0 || ::statx(descriptor, "", AT_EMPTY_PATH, STATX_INO | STATX_BTIME, &status) != 0
        || !(status.stx_mask & STATX_INO))
        return {};
    // What is not known is 0 each time.
    const qint64 birth =
        status.stx_mask & STATX_BTIME ? status.stx_btime.tv_sec * Q_INT64_C(1000000000) + status.stx_btime.tv_nsec : 0;
    const quint64 number = numbersLast(descriptor) ? status.stx_ino : 0;
    // Otherwise all files there would be one.
    return number == 0 && birth == 0 ? FileIdentity() : FileIdentity{u"%1:%2"_s.arg(number).arg(birth)};
}
