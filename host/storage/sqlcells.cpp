// SPDX-License-Identifier: MIT
#include <host/storage/sqlcells.h>

using namespace Qt::StringLiterals;

SqlValue SqlCells::fromText(const QString &text)
{
    return text.isNull() ? u""_s : text;
}

QString SqlCells::toText(const SqlValue &cell)
{
    return cell.toText();
}

SqlValue SqlCells::fromBytes(const QByteArray &bytes)
{
    if (bytes.isEmpty())
        return {};
    // What the shell could not show whole goes into a blob.
    const QString text = QString::fromUtf8(bytes);
    const bool isText = !bytes.contains('\0') && text.toUtf8() == bytes;
    return isText ? SqlValue(text) : SqlValue(bytes);
}

QByteArray SqlCells::toBytes(const SqlValue &cell)
{
    return cell.toBytes();
}

SqlValue SqlCells::fromContent(const QByteArray &content)
{
    return content.isEmpty() ? SqlValue() : SqlValue(content);
}

SqlValue SqlCells::fromTime(const QDateTime &time)
{
    return time.isValid() ? SqlValue(time.toUTC().toString(Qt::ISODateWithMs)) : SqlValue();
}

QDateTime SqlCells::toTime(const SqlValue &cell)
{
    return cell.isNull() ? QDateTime() : QDateTime::fromString(cell.toText(), Qt::ISODateWithMs);
}

SqlValue SqlCells::fromUrl(const QUrl &url)
{
    return url.isEmpty() ? SqlValue() : SqlValue(url.toString(QUrl::FullyEncoded));
}

QUrl SqlCells::toUrl(const SqlValue &cell)
{
    return cell.isNull() ? QUrl() : QUrl(cell.toText(), QUrl::StrictMode);
}

SqlValue SqlCells::fromFlags(quint64 flags)
{
    return qint64(flags);
}

quint64 SqlCells::toFlags(const SqlValue &cell)
{
    return quint64(cell.toNumber());
}
