// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QtGlobal>

#include <concepts>
#include <variant>

/// What stands in a cell of a database.
class SqlValue
{
public:
    /// In the order of m_value.
    enum class Kind {
        Nothing, ///< NULL
        Number,
        Real,
        Text,
        Bytes,
    };

    SqlValue() = default;
    /// Truth values are 0 and 1.
    SqlValue(std::integral auto number)
        : m_value(qint64(number))
    {
    }
    SqlValue(double real);
    /// A null one is nothing, an empty one is not.
    SqlValue(const QString &text);
    SqlValue(const QByteArray &bytes);

    Kind kind() const { return Kind(m_value.index()); }
    bool isNull() const { return kind() == Kind::Nothing; }

    /// As SQLite turns one into the other; 0 and empty where there is nothing.
    qint64 toNumber() const;
    int toInt() const { return int(toNumber()); }
    bool toBool() const { return toNumber() != 0; }
    /// Null where there is nothing.
    QString toText() const;
    QByteArray toBytes() const;

    friend bool operator==(const SqlValue &, const SqlValue &) = default;

private:
    friend class SqlStatement;

    std::variant<std::monostate, qint64, double, QString, QByteArray> m_value;
};

using SqlValues = QList<SqlValue>;
