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

}

QString FinishNow::refusal(const AbstractDownloadPersistentInfo &info, bool isRunning)
{
    if (info.isFinished())
        return u"it is finished already."_s;
    if (info.files.isEmpty() || info.files.first().bytesDownloaded() <= 0)
        return u"nothing of it has been downloaded yet. Remove it if it is not wanted."_s;
    const AbstractDownloadFileInfo &file = info.files.first();
    if (isRunning && file.sections.size() > 1)
        return u"it runs over several connections. Stop it first."_s;
    if (contiguousBytes(file) != file.bytesDownloaded())
        return u"its bytes are not one piece from the start: the file would have holes. Resume it with -x 1 until the "
               u"first gap is filled, or download all of it."_s;
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
