// SPDX-License-Identifier: MIT
#include <cli/jsonline.h>

#include <host/policy/redaction.h>
#include <host/policy/shown.h>

#include <QJsonArray>
#include <QJsonDocument>

namespace
{

/// Nothing nests deeper than a list.
QJsonValue withoutLogins(const QJsonValue &value)
{
    if (value.isString())
        return Redaction::logins(value.toString());
    if (!value.isArray())
        return value;
    QJsonArray array = value.toArray();
    for (QJsonValueRef item : array)
        item = withoutLogins(item);
    return array;
}

}

QString JsonLine::of(const QJsonObject &object)
{
    QJsonObject shown = object;
    for (auto it = shown.begin(); it != shown.end(); ++it)
        *it = withoutLogins(*it);
    return Shown::visible(QString::fromUtf8(QJsonDocument(shown).toJson(QJsonDocument::Compact))) + u'\n';
}
