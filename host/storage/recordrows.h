// SPDX-License-Identifier: MIT
#pragma once

#include <host/storage/preparedstatements.h>
#include <inet/qt/download/records/abstractdownloadpersistentinfo.h>

#include <QList>

#include <functional>
#include <optional>

/// Records to rows of the list's tables and back. Opens no transaction of its own.
class RecordRows
{
public:
    /// What a query yields, or nothing when it failed.
    using Records = std::optional<QList<AbstractDownloadPersistentInfo>>;

    explicit RecordRows(const SqlDatabase &database)
        : m_statements(database)
    {
    }

    /// Takes no notice of the record's id and place; gives it the new ones, behind all others.
    bool insert(AbstractDownloadPersistentInfo &record);
    /// All but its place. False, without an error, when the list has no record of that id.
    /// @param fileIdentity null = the one that is there stays @param contentEncoding likewise
    bool update(const AbstractDownloadPersistentInfo &record, const SqlValue &fileIdentity = {},
                const SqlValue &contentEncoding = {});
    /// Records that a condition over the table "downloads" holds for. @param condition with a "?" for each value
    /// @param index by which they are to be found; empty = the database chooses
    Records select(const QString &condition, const SqlValues &values, const QString &index = {});

    /// Any statement, with a value for each "?" in it.
    PreparedStatements::Run run(const QString &statement, const SqlValues &values);

    /// To be asked behind the last row: whether it was the last, or reading the next one failed.
    bool wasReadWhole(PreparedStatements::Run &run);

    /// Why the last statement failed; not valid = it did not.
    SqlError lastError() const { return m_error; }
    PreparedStatements &statements() { return m_statements; }

    /// Called with each statement before it runs.
    void setObserver(const std::function<void(const QString &statement)> &observer) { m_observer = observer; }

    /// What a row was refused for becomes the last error. @param column empty = it was not refused
    bool isRefused(const QString &column);

private:
    std::optional<qint64> keyBehindAll();
    bool updateIndexed(const AbstractDownloadPersistentInfo &record);
    bool loadParts(AbstractDownloadPersistentInfo &record);

    PreparedStatements m_statements;
    SqlError m_error;
    std::function<void(const QString &)> m_observer;
};
