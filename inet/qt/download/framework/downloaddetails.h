// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/records/abstractdownloadsection.h>
#include <inet/qt/download/records/abstracterror.h>

#include <QList>
#include <QMetaType>
#include <QUrl>
#include <QtGlobal>

/// What bounds the number of a download's connections.
enum class ConnectionsBound : qint32 {
    None = 0,
    RangesNotHonoured = 1, ///< the server sends the whole resource or nothing
    SizeUnknown = 2,
    TooSmallToSplit = 3, ///< no section has enough left
    SpaceNotTaken = 4, ///< the disk space is still being taken, and data may not run ahead of it
    SectionsCap = 5, ///< no download has more
    Connections = 6, ///< the limit of connections, its own or that of all downloads
    ConnectionsPerServer = 7,
    AnotherFailed = 8, ///< one more was tried and refused
};

/// What AbstractDownload::details() of this system's modules holds, as a value of its own: how the run that goes on, or
/// the last one, used the network.
struct DownloadDetails {
    int mostConnections = 0; ///< that transferred at once
    ConnectionsBound bound = ConnectionsBound::None; ///< why there were not more than that
    QUrl failedSource = {}; ///< the one whose transfer failed last, as the record names it; empty = none did
    bool isChecking =
        false; ///< whether the resource has changed; its end is told by AbstractDownload::resourceChecked()
    AbstractError checkError = {}; ///< of the newest check's transfer
    int checkStatus = -1; ///< of the newest check's answer, as in HTTP; -1 = there was none
    QList<qint64> fetching = {}; ///< places in the resource at which bytes arrive now
    /// What is written by now, in order; the record has the same a little later. Empty = nobody says.
    QList<AbstractDownloadSection> written = {};
};

Q_DECLARE_METATYPE(DownloadDetails)
