// SPDX-License-Identifier: MIT
#include <host/engine/queueddownload.h>

#include <host/policy/errormessages.h>

#include <QDir>
#include <QFileInfo>

using namespace Qt::StringLiterals;

bool QueuedDownload::isTargetThere() const
{
    return !info.files.isEmpty() && QFileInfo::exists(QDir(info.folder).filePath(info.files.first().name));
}

QString QueuedDownload::stopText() const
{
    if (!info.isFinished())
        return ErrorMessages::forStop();
    return u"stopped before \"%1\" was compared with its checksum; \"plait resume %2\" does it"_s.arg(
        info.downloadTitle(), QString::number(info.id));
}
