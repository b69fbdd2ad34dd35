// SPDX-License-Identifier: MIT
#pragma once

#include <host/storage/sqlvalue.h>

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <QUrl>

/// How values stand in the cells of the list, so that a person reads them with the sqlite3 shell and nothing is lost.
/// Null and empty are one: nothing comes back null that was empty in a way that matters.
namespace SqlCells
{

/// Text is never NULL.
SqlValue fromText(const QString &text);
QString toText(const SqlValue &cell);

/// As text where they are UTF-8, as a blob otherwise; NULL when there are none.
SqlValue fromBytes(const QByteArray &bytes);
QByteArray toBytes(const SqlValue &cell);
/// Content: always a blob; NULL when there is none.
SqlValue fromContent(const QByteArray &content);

/// ISO 8601 with milliseconds, in UTC; NULL when the time is not valid. The time zone is not kept, the moment is.
SqlValue fromTime(const QDateTime &time);
QDateTime toTime(const SqlValue &cell);

/// Fully encoded; NULL when the URL is empty.
SqlValue fromUrl(const QUrl &url);
QUrl toUrl(const SqlValue &cell);

/// SQLite's numbers are signed.
SqlValue fromFlags(quint64 flags);
quint64 toFlags(const SqlValue &cell);

}
