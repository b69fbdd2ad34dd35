// SPDX-License-Identifier: MIT
#pragma once

#include <QSqlDatabase>
#include <QString>

/// A named connection of Qt Sql to a list's file, which lives as long as this object. Queries have to go before it
/// does.
class ListConnection
{
    Q_DISABLE_COPY_MOVE(ListConnection)

public:
    enum class Access {
        Write,
        Look, ///< nothing is ever changed; a missing file is not made
        WriteAndAttach, ///< other files may be attached by a "file:" address
    };

    /// Does not open it yet.
    explicit ListConnection(const QString &path, Access access = Access::Write);
    ~ListConnection();

    QSqlDatabase database() const { return QSqlDatabase::database(m_name, false); }

private:
    const QString m_name;
};
