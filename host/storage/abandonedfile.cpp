// SPDX-License-Identifier: MIT
#include <host/storage/abandonedfile.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

#include <algorithm>

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
        count += int(isIt && QFile::remove(file.filePath()));
    }
    return count;
}
