// SPDX-License-Identifier: MIT
#include <host/policy/finishnow.h>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

/// Bytes from the start without a gap.
qint64 contiguousBytes(const AbstractDownloadFileInfo &file)
{
    qint64 bytes = 0;
    for (const AbstractDownloadSection &section : file.sections) {
        if (section.offset != bytes)
            break;
        bytes = section.position();
    }
    return bytes;
}

Failure refused(const AbstractDownloadPersistentInfo &info, Clause::Kind reason,
                const QList<Failure::Remedy> &remedies = {})
{
    Failure failure = Failure::make(Failure::Kind::CannotFinish, Failure::Subject::of(info), reason);
    failure.remedies = remedies;
    return failure;
}

}

Failure FinishNow::refusal(const AbstractDownloadPersistentInfo &info, bool isRunning)
{
    if (info.isFinished())
        return refused(info, Clause::Kind::Finished);
    if (info.files.isEmpty() || info.files.first().bytesDownloaded() <= 0)
        return refused(info, Clause::Kind::NothingThere, {Failure::Remedy::Remove});
    const AbstractDownloadFileInfo &file = info.files.first();
    if (isRunning && file.sections.size() > 1)
        return refused(info, Clause::Kind::SeveralConnections, {Failure::Remedy::StopFirst});
    if (contiguousBytes(file) != file.bytesDownloaded())
        return refused(info, Clause::Kind::HasGaps, {Failure::Remedy::OneConnection});
    return {};
}

bool FinishNow::isEarly(const AbstractDownloadPersistentInfo &info)
{
    const AbstractDownloadFileInfo &file = info.files.first();
    return file.size < 0 || file.bytesDownloaded() < file.size;
}

void FinishNow::settle(AbstractDownloadPersistentInfo &info)
{
    AbstractDownloadFileInfo &file = info.files.first();
    const qint64 size = file.bytesDownloaded();
    file.sections = {AbstractDownloadSection{0, size, size}};
    file.size = size;
}
