// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/records/abstractdownloadpersistentinfo.h>

#include <QList>
#include <QSqlDatabase>
#include <QVariant>

#include <optional>

class QSqlQuery;

/// Records to rows of the list's tables and back. Opens no transaction of its own.
class RecordRows
{
public:
    /// What a query yields, or nothing when it failed.
    using Records = std::optional<QList<AbstractDownloadPersistentInfo>>;

    explicit RecordRows(const QSqlDatabase &database)
        : m_database(database)
    {
    }

    /// Takes no notice of the record's id; gives it the new one.
    bool insert(AbstractDownloadPersistentInfo &record);
    /// False, without an error, when the list has no record of that id.
    bool update(const AbstractDownloadPersistentInfo &record);
    /// Records that a condition over the table "downloads" holds for. @param condition with a "?" for each value
    Records select(const QString &condition, const QVariantList &values);

    /// Any statement, with a value for each "?" in it.
    bool run(const QString &statement, const QVariantList &values, QSqlQuery &query);

    /// Why the last statement failed; empty = it did not.
    QString lastErrorText() const { return m_errorText; }

private:
    bool insertParts(const AbstractDownloadPersistentInfo &record);
    bool insertFile(qint64 id, int position, const AbstractDownloadFileInfo &file);
    bool deleteParts(qint64 id);
    bool loadParts(AbstractDownloadPersistentInfo &record);

    QSqlDatabase m_database;
    QString m_errorText;
};
