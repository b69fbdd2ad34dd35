// SPDX-License-Identifier: MIT
#include <host/storage/variantjson.h>

#include <host/storage/sqlcells.h>

#include <QDataStream>
#include <QIODevice>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStringList>

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;

namespace
{

/// Beyond it a JSON number, which is a double, may lose its last digits.
constexpr qint64 kLargestExactInteger = Q_INT64_C(1) << 53;

const QString kBytes = u"$bytes"_s;
const QString kInteger = u"$integer"_s;
const QString kMap = u"$map"_s;
const QString kStrings = u"$strings"_s;
const QString kTime = u"$time"_s;
const QString kUrl = u"$url"_s;
const QString kVariant = u"$variant"_s;

QJsonValue toJson(const QVariant &value);
QVariant fromJson(const QJsonValue &json);

QJsonObject tagged(const QString &tag, const QJsonValue &value)
{
    return {{tag, value}};
}

QString base64(const QByteArray &bytes)
{
    return QString::fromLatin1(bytes.toBase64());
}

QByteArray bytesOf(const QJsonValue &base64Text)
{
    return QByteArray::fromBase64(base64Text.toString().toLatin1());
}

QJsonObject plainObject(const QVariantMap &map)
{
    QJsonObject object;
    for (auto it = map.cbegin(); it != map.cend(); ++it)
        object.insert(it.key(), toJson(it.value()));
    return object;
}

QVariantMap plainMap(const QJsonObject &object)
{
    QVariantMap map;
    for (auto it = object.constBegin(); it != object.constEnd(); ++it)
        map.insert(it.key(), fromJson(it.value()));
    return map;
}

QJsonValue mapToJson(const QVariantMap &map)
{
    const bool looksTagged = map.size() == 1 && map.firstKey().startsWith(u'$');
    return looksTagged ? tagged(kMap, plainObject(map)) : plainObject(map);
}

QJsonValue listToJson(const QVariantList &list)
{
    QJsonArray array;
    for (const QVariant &value : list)
        array.append(toJson(value));
    return array;
}

QJsonValue integerToJson(const QVariant &value)
{
    const qint64 number = value.toLongLong();
    const bool exact = number >= -kLargestExactInteger && number <= kLargestExactInteger;
    return exact ? QJsonValue(number) : QJsonValue(tagged(kInteger, QString::number(number)));
}

QJsonValue otherToJson(const QVariant &value)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream.setVersion(QDataStream::Qt_6_4);
    stream << value;
    return tagged(kVariant, base64(bytes));
}

QVariant otherFromJson(const QJsonValue &json)
{
    QDataStream stream(bytesOf(json));
    stream.setVersion(QDataStream::Qt_6_4);
    QVariant value;
    stream >> value;
    return value;
}

QJsonValue toJson(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::UnknownType:
        return QJsonValue::Null;
    case QMetaType::Bool:
        return value.toBool();
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
        return integerToJson(value);
    case QMetaType::Double:
        return std::isfinite(value.toDouble()) ? QJsonValue(value.toDouble()) : otherToJson(value);
    case QMetaType::QString:
        return value.toString();
    case QMetaType::QStringList:
        return tagged(kStrings, QJsonArray::fromStringList(value.toStringList()));
    case QMetaType::QByteArray:
        return tagged(kBytes, base64(value.toByteArray()));
    case QMetaType::QDateTime:
        return value.toDateTime().isValid() ? tagged(kTime, SqlCells::fromTime(value.toDateTime()).toText())
                                            : otherToJson(value);
    case QMetaType::QUrl:
        return tagged(kUrl, value.toUrl().toString(QUrl::FullyEncoded));
    case QMetaType::QVariantList:
        return listToJson(value.toList());
    case QMetaType::QVariantMap:
        return mapToJson(value.toMap());
    default:
        return otherToJson(value);
    }
}

QVariant taggedFromJson(const QString &tag, const QJsonValue &json)
{
    if (tag == kBytes)
        return bytesOf(json);
    if (tag == kInteger)
        return json.toString().toLongLong();
    if (tag == kTime)
        return SqlCells::toTime(json.toString());
    if (tag == kUrl)
        return QUrl(json.toString(), QUrl::StrictMode);
    if (tag == kStrings)
        return json.toVariant().toStringList();
    if (tag == kMap)
        return plainMap(json.toObject());
    return tag == kVariant ? otherFromJson(json) : QVariant();
}

QVariant objectFromJson(const QJsonObject &object)
{
    const bool isTagged = object.size() == 1 && object.constBegin().key().startsWith(u'$');
    if (isTagged)
        return taggedFromJson(object.constBegin().key(), object.constBegin().value());
    return plainMap(object);
}

QVariant fromJson(const QJsonValue &json)
{
    if (json.isObject())
        return objectFromJson(json.toObject());
    if (json.isNull())
        return {};
    if (!json.isArray())
        return json.toVariant();
    QVariantList list;
    const QJsonArray array = json.toArray();
    for (const auto &value : array)
        list.append(fromJson(value));
    return list;
}

}

QString VariantJson::fromMap(const QVariantMap &map)
{
    if (map.isEmpty())
        return {};
    return QString::fromUtf8(QJsonDocument(plainObject(map)).toJson(QJsonDocument::Compact));
}

QVariantMap VariantJson::toMap(const QString &json)
{
    return plainMap(QJsonDocument::fromJson(json.toUtf8()).object());
}
