// SPDX-License-Identifier: MIT
#include <host/policy/secretheaders.h>

#include <algorithm>
#include <iterator>

using namespace Qt::StringLiterals;

namespace
{

constexpr QLatin1StringView kSecretNames[] = {
    "authorization"_L1, "proxy-authorization"_L1, "cookie"_L1,       "cookie2"_L1,         "api-key"_L1,
    "apikey"_L1,        "x-api-key"_L1,           "x-apikey"_L1,     "x-auth-token"_L1,    "x-access-token"_L1,
    "access-token"_L1,  "private-token"_L1,       "x-csrf-token"_L1, "x-session-token"_L1, "x-amz-security-token"_L1,
    "job-token"_L1,     "deploy-token"_L1,        "x-auth-key"_L1,   "x-auth-user"_L1,
};

}

QStringList SecretHeaders::names()
{
    return {std::begin(kSecretNames), std::end(kSecretNames)};
}

bool SecretHeaders::isSecret(const QString &name)
{
    const QString trimmed = name.trimmed();
    return std::any_of(std::begin(kSecretNames), std::end(kSecretNames), [&trimmed](QLatin1StringView secret) {
        return trimmed.compare(secret, Qt::CaseInsensitive) == 0;
    });
}

QVariantMap SecretHeaders::takeFrom(QVariantMap *headers)
{
    QVariantMap secret;
    for (auto it = headers->begin(); it != headers->end();) {
        if (isSecret(it.key())) {
            secret.insert(it.key(), it.value());
            it = headers->erase(it);
        } else {
            ++it;
        }
    }
    return secret;
}
