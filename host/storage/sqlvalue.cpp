// SPDX-License-Identifier: MIT
#include <host/storage/sqlvalue.h>

SqlValue::SqlValue(double real)
    : m_value(real)
{
}

SqlValue::SqlValue(const QString &text)
{
    if (!text.isNull())
        m_value = text;
}

SqlValue::SqlValue(const QByteArray &bytes)
{
    if (!bytes.isNull())
        m_value = bytes;
}

qint64 SqlValue::toNumber() const
{
    switch (kind()) {
    case Kind::Nothing:
        return 0;
    case Kind::Number:
        return std::get<qint64>(m_value);
    case Kind::Real:
        return qint64(std::get<double>(m_value));
    case Kind::Text:
    case Kind::Bytes:
        break;
    }
    return toBytes().toLongLong();
}

QString SqlValue::toText() const
{
    switch (kind()) {
    case Kind::Nothing:
        return {};
    case Kind::Number:
        return QString::number(std::get<qint64>(m_value));
    case Kind::Real:
        return QString::number(std::get<double>(m_value));
    case Kind::Text:
        return std::get<QString>(m_value);
    case Kind::Bytes:
        break;
    }
    return QString::fromUtf8(std::get<QByteArray>(m_value));
}

QByteArray SqlValue::toBytes() const
{
    return kind() == Kind::Bytes ? std::get<QByteArray>(m_value) : toText().toUtf8();
}
