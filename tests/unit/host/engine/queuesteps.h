// SPDX-License-Identifier: MIT
#pragma once

#include <host/engine/downloadqueue.h>
#include <inet/qt/download/records/abstracterror.h>
#include <tests/unit/host/engine/queuebench.h>

#include <QString>

// What the fake module's downloads do, in the words of FakePaths::kSteps.
inline const QString kBusy = QStringLiteral("fail/HttpError/503");
inline const QString kNotFound = QStringLiteral("fail/HttpError/404");
inline const QString kChanged =
    QStringLiteral("fail/AbstractDownloadError/%1/300").arg(int(DownloadErrorCode::ResourceChanged));
inline const QString kUnresumable =
    QStringLiteral("fail/AbstractDownloadError/%1/300").arg(int(DownloadErrorCode::ResumeNotSupported));
/// Of what they fetch.
inline constexpr int kFileSize = 1000;

inline QueueOptions tries(int count)
{
    QueueOptions options = QueueBench::quickly();
    options.mostTries = count;
    return options;
}
