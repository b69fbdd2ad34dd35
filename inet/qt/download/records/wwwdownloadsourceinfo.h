// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/records/abstractdownloadsourceinfo.h>

#include <QMetaType>

/// Source of one transfer: where the bytes come from and which of them are wanted.
struct WwwDownloadSourceInfo : AbstractDownloadSourceInfo {
    WwwDownloadSourceInfo() = default;
    explicit WwwDownloadSourceInfo(const AbstractDownloadSourceInfo &source)
        : AbstractDownloadSourceInfo(source)
    {
    }

    qint64 sectionOffset = 0; ///< first byte of the section in the resource
    qint64 sectionLength = -1; ///< bytes that the section may receive; -1 = up to the end of the resource
    qint64 sectionDownloaded = 0; ///< bytes of the section already received

    friend bool operator==(const WwwDownloadSourceInfo &, const WwwDownloadSourceInfo &) = default;
};
Q_DECLARE_METATYPE(WwwDownloadSourceInfo)
