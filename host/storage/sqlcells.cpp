// SPDX-License-Identifier: MIT
#include <host/storage/sqlcells.h>

using namespace Qt::StringLiterals;

QVariant SqlCells::fromText(const QString &text)
{
    return text.isNull() ? u""_s : text;
}

QString SqlCells::toText(const QVariant &cell)
{
    return cell.toString();
}

QVariant SqlCells::fromBytes(const QByteArray &bytes)
{
    if (bytes.isEmpty())
        return {};
    // What the shell could not show whole goes into a blob.
    const QString text = QString::fromUtf8(bytes);
    const bool isText = !bytes.contains('\0') && text.toUtf8() == bytes;
    return isText ? QVariant(text) : QVariant(bytes);
}

QByteArray SqlCells::toBytes(const QVariant &cell)
{
    return cell.typeId() == QMetaType::QByteArray ? cell.toByteArray() : cell.toString().toUtf8();
}

QVariant SqlCells::fromContent(const QByteArray &content)
{
    return content.isEmpty() ? QVariant() : QVariant(content);
}

QVariant SqlCells::fromTime(const QDateTime &time)
{
    return time.isValid() ? QVariant(time.toUTC().toString(Qt::ISODateWithMs)) : QVariant();
}

QDateTime SqlCells::toTime(const QVariant &cell)
{
    return cell.isNull() ? QDateTime() : QDateTime::fromString(cell.toString(), Qt::ISODateWithMs);
}

QVariant SqlCells::fromUrl(const QUrl &url)
{
    return url.isEmpty() ? QVariant() : QVariant(url.toString(QUrl::FullyEncoded));
}

QUrl SqlCells::toUrl(const QVariant &cell)
{
    return cell.isNull() ? QUrl() : QUrl(cell.toString(), QUrl::StrictMode);
}

QVariant SqlCells::fromFlags(quint64 flags)
{
    return QVariant::fromValue(qint64(flags));
}

quint64 SqlCells::toFlags(const QVariant &cell)
{
    return quint64(cell.toLongLong());
}
