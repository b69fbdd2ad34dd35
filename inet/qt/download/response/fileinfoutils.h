// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/records/abstractdownloadpersistentinfo.h>
#include <inet/qt/download/records/abstractfileinfo.h>
#include <inet/qt/download/records/downloadenums.h>

#include <QDate>
#include <QString>

#include <functional>

// Helpers for hosts, on names and records. The module exports them under these names; a host may as well link them.
// Pure, callable from any thread.

/// Puts the date in front of the name: "[2024-03-09] file.zip". An empty name or an invalid date changes nothing.
Q_DECL_EXPORT void addDateToFileName(AbstractFileInfo &info, const QDate &date);

/// Gives the name another title and keeps its extension: what follows the last dot, when something stands on both
/// sides of it. An empty name stays empty.
Q_DECL_EXPORT void changeFileTitle(AbstractFileInfo &info, const QString &title);

/// The less-than comparison of a list's order; empty for keys that have none.
/// Keys: 1 creation time, 2 title in natural order, 3 size of the selected files (unknown first), 5 the person's order.
Q_DECL_EXPORT std::function<bool(const AbstractDownloadPersistentInfo &, const AbstractDownloadPersistentInfo &)>
abstractDownloadsPeristentInfoCompFunction(AbstractDownloadPersistentInfoSortByPlusOrder order);

/// What the operating system says of itself.
class Q_DECL_EXPORT MyQtSysInfo
{
public:
    /// For example "12" for Debian 12; empty or "unknown" where it does not say.
    static QString productVersion();
};
