// SPDX-License-Identifier: MIT
#include <host/network/credentialstore.h>

#include <host/policy/harmlessheaders.h>
#include <host/policy/schemes.h>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace
{

const QByteArray kAuthorization = QByteArrayLiteral("Authorization");

bool isNamed(const CredentialStore::Header &header, const QByteArray &name)
{
    return header.first.compare(name, Qt::CaseInsensitive) == 0;
}

void setHeader(QList<CredentialStore::Header> &headers, const QByteArray &name, const QByteArray &value)
{
    headers.removeIf([&name](const CredentialStore::Header &header) { return isNamed(header, name); });
    headers.append({name, value});
}

/// What is for all comes before what is for this server alone.
QList<CredentialStore::Header> keptFor(const Origin &origin, const QList<SecretHeader> &kept)
{
    QList<CredentialStore::Header> headers;
    for (const QString &whose : {QString(SecretHeader::kEverywhere), origin.toString()}) {
        for (const SecretHeader &header : kept) {
            if (header.origin == whose && !header.value.isNull())
                setHeader(headers, header.name.toUtf8(), header.value.toUtf8());
        }
    }
    return headers;
}

}

void CredentialStore::add(const Credential &credential)
{
    Q_ASSERT(isInItsThread());
    m_credentials.append(credential);
}

void CredentialStore::setNetrc(const QList<Netrc::Entry> &entries)
{
    Q_ASSERT(isInItsThread());
    m_netrc = entries;
}

QUrl CredentialStore::takeSecrets(const QUrl &url, QVariantMap *headers)
{
    Q_ASSERT(isInItsThread());
    const Origin origin = Origin::of(url);
    const UrlCredentials::Split split = UrlCredentials::split(url);
    if (origin.isValid())
        m_own.insert(origin);
    if (!split.login.isEmpty())
        m_logins.insert(origin, split.login);
    const QVariantMap secret = headers ? HarmlessHeaders::takeOthersFrom(headers) : QVariantMap();
    for (auto it = secret.cbegin(); it != secret.cend(); ++it)
        setHeader(m_headers[origin], it.key().trimmed().toUtf8(), it->toString().toUtf8());
    return split.url;
}

void CredentialStore::add(const SecretHeader &header)
{
    Q_ASSERT(isInItsThread());
    QList<Header> &headers = header.isEverywhere() ? m_headersForAll : m_headers[Origin::of(QUrl(header.origin))];
    setHeader(headers, header.name.toUtf8(), header.value.toUtf8());
}

void CredentialStore::addRedirectLogin(const QUrl &url)
{
    Q_ASSERT(isInItsThread());
    const Login login = UrlCredentials::split(url).login;
    if (!login.isEmpty())
        m_redirectLogins.insert(Origin::of(url), login);
}

QList<CredentialStore::Header> CredentialStore::headersFor(const QUrl &url, const QList<SecretHeader> &kept) const
{
    Q_ASSERT(isInItsThread());
    const Origin origin = Origin::of(url);
    QList<Header> headers = origin.isValid() ? keptFor(origin, kept) : QList<Header>();
    const QList<Header> given = origin.isValid() ? m_headersForAll + m_headers.value(origin) : QList<Header>();
    for (const auto &[name, value] : given)
        setHeader(headers, name, value);
    const bool isAuthorized = std::any_of(headers.cbegin(), headers.cend(),
                                          [](const Header &header) { return isNamed(header, kAuthorization); });
    if (const QByteArray bearer = bearerFor(origin); !isAuthorized && !bearer.isEmpty())
        headers.append({kAuthorization, "Bearer " + bearer});
    return headers;
}

bool CredentialStore::hasHeaderFor(const QUrl &url, const QString &name) const
{
    const QList<Header> headers = headersFor(url);
    return std::any_of(headers.cbegin(), headers.cend(),
                       [name = name.toUtf8()](const Header &header) { return isNamed(header, name); });
}

Login CredentialStore::loginFor(const QUrl &url) const
{
    Q_ASSERT(isInItsThread());
    const Origin origin = Origin::of(url);
    if (const Login login = m_logins.value(origin); !login.isEmpty())
        return completed(login, origin);
    if (const Credential *const option = optionFor(origin); option && !option->user.isEmpty())
        return completed({option->user, option->password}, origin);
    if (const Login login = netrcLogin(origin, {}); !login.isEmpty())
        return login;
    return m_redirectLogins.value(origin);
}

Login CredentialStore::netrcLogin(const Origin &origin, const QString &user) const
{
    if (!isOwn(origin) && origin.scheme != Schemes::kHttps)
        return {};
    const std::optional<Netrc::Entry> entry = Netrc::entryFor(m_netrc, origin.host, isOwn(origin), user);
    return entry ? entry->login : Login();
}

Login CredentialStore::completed(const Login &login, const Origin &origin) const
{
    if (login.user.isEmpty() || !login.password.isEmpty())
        return login;
    const Login known = netrcLogin(origin, login.user);
    return known.isEmpty() ? login : known;
}

QByteArray CredentialStore::bearerFor(const Origin &origin) const
{
    if (m_logins.contains(origin))
        return {};
    const Credential *const option = optionFor(origin);
    return option ? option->bearer : QByteArray();
}

const Credential *CredentialStore::optionFor(const Origin &origin) const
{
    if (!origin.isValid())
        return nullptr;
    const auto found =
        std::find_if(m_credentials.cbegin(), m_credentials.cend(), [this, &origin](const Credential &credential) {
            return credential.origin.isEmpty() ? isOwn(origin) : Origin::of(credential.origin) == origin;
        });
    return found == m_credentials.cend() ? nullptr : &*found;
}
