// SPDX-License-Identifier: MIT
#pragma once

#include <QMetaType>
#include <QtGlobal>

/// One byte range of a file. All three are byte counts.
struct AbstractDownloadSection {
    qint64 offset = 0; ///< position of the range in the resource
    qint64 size = -1; ///< length of the range; -1 = up to the end of the resource
    qint64 downloaded = 0; ///< bytes of the range already written, from its start

    /// First byte that is still missing.
    qint64 position() const { return offset + downloaded; }
    /// First byte behind the range; -1 = unbounded, which equals no known end.
    qint64 end() const { return size == -1 ? -1 : offset + size; }
    /// Bytes still missing; -1 = unknown.
    qint64 bytesLeft() const { return size == -1 ? -1 : size - downloaded; }

    friend bool operator==(const AbstractDownloadSection &, const AbstractDownloadSection &) = default;
};
Q_DECLARE_METATYPE(AbstractDownloadSection)
