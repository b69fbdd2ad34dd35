// SPDX-License-Identifier: MIT
#pragma once

#include <QList>
#include <QString>
#include <QVariant>

struct sqlite3;

/// An SQLite database as the sqlite3 shell shows it, without the eyes of the program that made it.
class SqlFile
{
    Q_DISABLE_COPY_MOVE(SqlFile)

public:
    /// Waits so long, at each statement, for others to be done with it.
    static constexpr int kWaitMs = 20000;

    /// A missing one is made.
    explicit SqlFile(const QString &path, int waitMs = kWaitMs);
    ~SqlFile();

    bool run(const QString &statement, const QVariantList &values = {}) const;
    /// Numbers as qint64, text as QString. @param values one for each "?", text or numbers; missing ones are NULL
    QList<QVariantList> rows(const QString &statement, const QVariantList &values = {}) const;
    /// What the statement gives first; null = nothing.
    QVariant value(const QString &statement) const { return rows(statement).value(0).value(0); }
    /// Of the last statement; empty = it succeeded.
    QString errorText() const { return m_errorText; }

private:
    sqlite3 *m_handle = nullptr;
    mutable QString m_errorText;
};
