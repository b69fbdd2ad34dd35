// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QJsonArray>
#include <QJsonObject>
#include <QList>
#include <QString>
#include <QUrl>
#include <QVariantMap>

#include <concepts>
#include <optional>
#include <string>
#include <type_traits>

/// Plain values as JSON, and back. A value names its fields once, in a function describe(fields, value) beside it,
/// which calls fields("name", value.member) for each; both directions are made of that. What is null, invalid or not
/// there is left out; what is left out keeps its default when it is read. Enumerations are their numbers, bytes are in
/// base64, times in UTC.
namespace JsonFields
{

class Writer;
class Reader;

template<class T>
concept HasFields = requires(Writer &fields, T &value)
{
    describe(fields, value);
};
/// Those that know their own form.
template<class T>
concept HasJson = requires(const T &value)
{
    {
        value.toJson()
        } -> std::same_as<QJsonObject>;
}
&&!HasFields<T>;
template<class T>
concept Number = std::integral<T> || std::floating_point<T> || std::is_enum_v<T>;

template<HasFields T>
QJsonObject toObject(const T &value);
template<HasFields T>
T fromObject(const QJsonObject &object);

inline QJsonValue toValue(bool value)
{
    return value;
}

template<Number T>
QJsonValue toValue(T value)
{
    if constexpr (std::floating_point<T>)
        return double(value);
    else
        return qint64(value);
}

inline QJsonValue toValue(const QString &value)
{
    return value.isNull() ? QJsonValue() : QJsonValue(value);
}

inline QJsonValue toValue(const std::string &value)
{
    return value.empty() ? QJsonValue() : QJsonValue(QString::fromStdString(value));
}

inline QJsonValue toValue(const QByteArray &value)
{
    return value.isNull() ? QJsonValue() : QJsonValue(QString::fromLatin1(value.toBase64()));
}

inline QJsonValue toValue(const QUrl &value)
{
    return value.isEmpty() ? QJsonValue() : QJsonValue(value.toString(QUrl::FullyEncoded));
}

inline QJsonValue toValue(const QDateTime &value)
{
    return value.isValid() ? QJsonValue(value.toUTC().toString(Qt::ISODateWithMs)) : QJsonValue();
}

inline QJsonValue toValue(const QVariantMap &value)
{
    return value.isEmpty() ? QJsonValue() : QJsonValue(QJsonObject::fromVariantMap(value));
}

template<HasFields T>
QJsonValue toValue(const T &value)
{
    return toObject(value);
}

template<HasJson T>
QJsonValue toValue(const T &value)
{
    const QJsonObject object = value.toJson();
    return object.isEmpty() ? QJsonValue() : QJsonValue(object);
}

template<class T>
QJsonValue toValue(const std::optional<T> &value)
{
    return value ? toValue(*value) : QJsonValue();
}

template<class T>
QJsonValue toValue(const QList<T> &values)
{
    QJsonArray array;
    for (const T &value : values)
        array.append(toValue(value));
    return array.isEmpty() ? QJsonValue() : QJsonValue(array);
}

inline void fromValue(const QJsonValue &json, bool &value)
{
    value = json.toBool(value);
}

template<Number T>
void fromValue(const QJsonValue &json, T &value)
{
    if constexpr (std::floating_point<T>)
        value = T(json.toDouble(value));
    else
        value = T(json.toInteger(qint64(value)));
}

inline void fromValue(const QJsonValue &json, QString &value)
{
    value = json.toString();
}

inline void fromValue(const QJsonValue &json, std::string &value)
{
    value = json.toString().toStdString();
}

inline void fromValue(const QJsonValue &json, QByteArray &value)
{
    value = QByteArray::fromBase64(json.toString().toLatin1());
    if (value.isNull())
        value = "";
}

inline void fromValue(const QJsonValue &json, QUrl &value)
{
    value = QUrl(json.toString(), QUrl::StrictMode);
}

inline void fromValue(const QJsonValue &json, QDateTime &value)
{
    value = QDateTime::fromString(json.toString(), Qt::ISODateWithMs);
}

inline void fromValue(const QJsonValue &json, QVariantMap &value)
{
    value = json.toObject().toVariantMap();
}

template<HasFields T>
void fromValue(const QJsonValue &json, T &value)
{
    value = fromObject<T>(json.toObject());
}

template<HasJson T>
void fromValue(const QJsonValue &json, T &value)
{
    value = T::fromJson(json.toObject());
}

template<class T>
void fromValue(const QJsonValue &json, std::optional<T> &value)
{
    T read{};
    fromValue(json, read);
    value = read;
}

template<class T>
void fromValue(const QJsonValue &json, QList<T> &values)
{
    values.clear();
    const QJsonArray array = json.toArray();
    for (const QJsonValue &element : array) {
        T read{};
        fromValue(element, read);
        values.append(read);
    }
}

/// Puts fields into an object.
class Writer
{
public:
    template<class T>
    void operator()(const char *name, const T &value)
    {
        const QJsonValue json = toValue(value);
        if (!json.isNull())
            m_object.insert(QLatin1String(name), json);
    }

    const QJsonObject &object() const { return m_object; }

private:
    QJsonObject m_object;
};

/// Takes fields out of an object.
class Reader
{
public:
    explicit Reader(const QJsonObject &object)
        : m_object(object)
    {
    }

    template<class T>
    void operator()(const char *name, T &value)
    {
        const auto found = m_object.constFind(QLatin1String(name));
        if (found != m_object.constEnd())
            fromValue(*found, value);
    }

private:
    const QJsonObject &m_object;
};

template<HasFields T>
QJsonObject toObject(const T &value)
{
    Writer fields;
    describe(fields, const_cast<T &>(value)); // a writer only looks
    return fields.object();
}

template<HasFields T>
T fromObject(const QJsonObject &object)
{
    T value{};
    Reader fields(object);
    describe(fields, value);
    return value;
}

}
