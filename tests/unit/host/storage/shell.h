// SPDX-License-Identifier: MIT
#pragma once

#include <tests/support/sqlfile.h>

#include <QString>
#include <QStringList>
#include <QVariant>

/// A list's file, seen as the sqlite3 shell sees it.
class Shell
{
    Q_DISABLE_COPY_MOVE(Shell)

public:
    explicit Shell(const QString &path)
        : m_file(path)
    {
    }

    /// What the statement gives first; nothing = null, or the text of the error.
    QVariant value(const QString &statement) const;
    /// As SQLite would run it.
    QStringList planOf(const QString &statement) const;
    /// So many more of a download with one file, in one transaction.
    bool multiply(qint64 id, int count) const;

private:
    QStringList columnsOf(const QString &table) const;

    SqlFile m_file;
};
