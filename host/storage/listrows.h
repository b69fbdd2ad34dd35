// SPDX-License-Identifier: MIT
#pragma once

#include <host/options/downloadoptions.h>
#include <host/storage/listentry.h>
#include <host/storage/rowplaces.h>
#include <inet/qt/download/framework/fileidentity.h>

#include <QList>

#include <optional>

class RecordRows;

/// What the list has beside whole records: the lines that people see of them, and the host's own options. Each is few
/// statements; nothing, or false, when it failed, with the reason in the rows.
namespace ListRows
{

/// See DownloadList::page().
std::optional<QList<ListEntry>> page(RecordRows &rows, ListFilter filter, int limit, qint64 before);
/// By position. See DownloadStore::page().
std::optional<QList<ListEntry>> page(RecordRows &rows, ListFilter filter, ListOrder order, qint64 first, int limit);
/// See DownloadStore::move(). Inside of a transaction.
std::optional<qint64> move(RecordRows &rows, qint64 id, qint64 position, QList<RowPlace> *places);
std::optional<qint64> count(RecordRows &rows, ListFilter filter);
/// Another number as soon as another connection has changed the database.
std::optional<qint64> othersChanges(RecordRows &rows);

std::optional<DownloadOptions> options(RecordRows &rows, qint64 id);
bool setOptions(RecordRows &rows, qint64 id, const DownloadOptions &options);

std::optional<FileIdentity> fileIdentity(RecordRows &rows, qint64 id);
std::optional<QString> contentEncoding(RecordRows &rows, qint64 id);
/// See DownloadStore::Taken.
std::optional<qint64> fence(RecordRows &rows, qint64 id);

}
