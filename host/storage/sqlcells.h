// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <QUrl>
#include <QVariant>

/// How values stand in the cells of the list, so that a person reads them with the sqlite3 shell and nothing is lost.
/// Null and empty are one: nothing comes back null that was empty in a way that matters.
namespace SqlCells
{

/// Text is never NULL.
QVariant fromText(const QString &text);
QString toText(const QVariant &cell);

/// As text where they are UTF-8, as a blob otherwise; NULL when there are none.
QVariant fromBytes(const QByteArray &bytes);
QByteArray toBytes(const QVariant &cell);
/// Content: always a blob; NULL when there is none.
QVariant fromContent(const QByteArray &content);

/// ISO 8601 with milliseconds, in UTC; NULL when the time is not valid. The time zone is not kept, the moment is.
QVariant fromTime(const QDateTime &time);
QDateTime toTime(const QVariant &cell);

/// Fully encoded; NULL when the URL is empty.
QVariant fromUrl(const QUrl &url);
QUrl toUrl(const QVariant &cell);

/// SQLite's numbers are signed.
QVariant fromFlags(quint64 flags);
quint64 toFlags(const QVariant &cell);

}
