// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QVariantMap>

/// Free-form values as JSON text that a person can read, without losing what they were.
///
/// What JSON has is written as it is. Everything else becomes an object with one key that begins with "$": "$bytes"
/// (Base64), "$integer", "$time", "$url", "$strings", "$map" (a map whose own keys could be taken for these) and
/// "$variant" (any other type: Qt's stream form in Base64).
namespace VariantJson
{

/// Empty for an empty map.
QString fromMap(const QVariantMap &map);
/// Empty, too, for text that is no JSON object.
QVariantMap toMap(const QString &json);

}
