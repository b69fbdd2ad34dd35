// SPDX-License-Identifier: MIT
#include <host/storage/abandonedfile.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

#include <algorithm>
#include <cerrno>
#include <csignal>

#include <fcntl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace
{

constexpr qint64 kMillisecond = 1000000;
/// The time of a file is that of the system's last tick.
constexpr qint64 kTick = 20 * kMillisecond;
/// As long as it may take from the plan to the file.
constexpr qint64 kLongestMaking = 10000 * kMillisecond;

/// The wished name, or that name with a number before its extension.
bool isNameOf(const QString &partName, const QString &wished)
{
    static const QRegularExpression number(u" \\([0-9]+\\)(?=\\.[^.]*(\\.[^.]*)?$|$)"_s);
    QString name = partName.chopped(5);
    return name == wished || name.remove(number) == wished;
}

bool wasMadeBetween(const QFileInfo &file, qint64 begin, qint64 end)
{
    const qint64 birth = FileIdentity::of(file.filePath()).birth();
    return birth > 0 && birth >= begin && birth <= end;
}

/// Whoever has it open is at work on it and has not written yet. Asked of the system by a lease, which is for one who
/// is alone with a file; where there are none, nobody knows.
bool isOpenElsewhere(const QString &path)
{
    const int descriptor = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK);
    if (descriptor < 0)
        return false;
    // Who opens it in this moment waits, and this process is told by a signal, which is not to end it.
    const bool isQuiet = ::fcntl(descriptor, F_SETSIG, SIGURG) == 0;
    const bool isHeld = isQuiet && ::fcntl(descriptor, F_SETLEASE, F_WRLCK) != 0 && errno == EAGAIN;
    ::close(descriptor);
    return isHeld;
}

}

int AbandonedFile::remove(const AbstractDownloadPersistentInfo &record, const FileIdentity &plan, qint64 before)
{
    const qint64 planned = plan.plannedAt();
    if (planned <= 0 || record.isFinished() || record.files.isEmpty() || record.files.first().isOnDisk())
        return 0;
    int count = 0;
    const QFileInfoList files =
        QDir(record.folder).entryInfoList({u"*.part"_s}, QDir::Files | QDir::Hidden | QDir::NoSymLinks);
    for (const QFileInfo &file : files) {
        const bool isIt = file.size() == 0 && isNameOf(file.fileName(), record.files.first().name)
            && wasMadeBetween(file, planned - kTick, std::min(planned + kLongestMaking, before));
        count += int(isIt && !isOpenElsewhere(file.filePath()) && QFile::remove(file.filePath()));
    }
    return count;
}
