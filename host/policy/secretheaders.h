// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QStringList>
#include <QVariantMap>

/// Which of a request's custom headers are secret, that is, let whoever reads them pass for the person who gave them.
/// Pure.
namespace SecretHeaders
{

/// In lower case.
QStringList names();

/// Case does not count.
bool isSecret(const QString &name);

/// Takes the secret ones out of @p headers (name to text) and gives them back.
QVariantMap takeFrom(QVariantMap *headers);

}
