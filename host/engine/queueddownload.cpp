// SPDX-License-Identifier: MIT
#include <host/engine/queueddownload.h>

#include <QDir>
#include <QFileInfo>

bool QueuedDownload::isTargetThere() const
{
    return !info.files.isEmpty() && QFileInfo::exists(QDir(info.folder).filePath(info.files.first().name));
}

void QueuedDownload::forgetReasons()
{
    stop = StopReason::None;
    rest = RestReason::None;
    restTimer.stop();
}

Failure QueuedDownload::stopped() const
{
    const auto kind = info.isFinished() ? Failure::Kind::StoppedBeforeComparing : Failure::Kind::Stopped;
    return Failure::make(kind, Failure::Subject::of(info));
}
