// SPDX-License-Identifier: MIT
#pragma once

#include <host/network/networkoptions.h>
#include <host/policy/netrc.h>
#include <host/policy/origin.h>
#include <host/policy/urlcredentials.h>

#include <QHash>
#include <QList>
#include <QNetworkRequest>
#include <QPair>
#include <QSet>
#include <QVariantMap>

/// The credentials of a session, and to whom they may be shown.
///
/// Each belongs to one origin and is shown to that alone. Where a person named a server by giving a URL of it, the
/// server is an own one: credentials without an origin, and the default entry of a netrc file, are for own servers
/// only; a machine's entry in the netrc file is also for that machine when it was reached by a redirect, if it came to
/// it over https. For one origin the order is: secret headers, the login of its URL, options, netrc file, the login of
/// a URL that a server redirected to.
///
/// Shared by the chief and its managers, which may outlive it; lives in their thread.
class CredentialStore
{
    Q_DISABLE_COPY_MOVE(CredentialStore)

public:
    using Header = QPair<QByteArray, QByteArray>;

    CredentialStore() = default;

    void add(const Credential &credential) { m_credentials.append(credential); }
    void setNetrc(const QList<Netrc::Entry> &entries) { m_netrc = entries; }

    /// See NetworkAccessChief::takeSecrets().
    QUrl takeSecrets(const QUrl &url, QVariantMap *headers);

    /// A login that a redirect brought along: it is for that server alone, and replaces nothing that a person gave.
    void addRedirectLogin(const QUrl &url);

    /// Whether the body of a POST request may go there: to own servers, or to any while none was named at all.
    bool mayGetBody(const QUrl &url) const { return m_own.isEmpty() || isOwn(Origin::of(url)); }
    /// The headers that requests to this URL carry; none twice.
    QList<Header> headersFor(const QUrl &url) const;
    /// What to answer when the server of this URL asks who is there; empty = nothing.
    Login loginFor(const QUrl &url) const;

private:
    Login netrcLogin(const Origin &origin, const QString &user) const;
    /// With the password from the netrc file, where only the user is given.
    Login completed(const Login &login, const Origin &origin) const;
    QByteArray bearerFor(const Origin &origin) const;
    bool isOwn(const Origin &origin) const { return m_own.contains(origin); }
    const Credential *optionFor(const Origin &origin) const;

    QSet<Origin> m_own;
    QHash<Origin, QList<Header>> m_headers;
    QHash<Origin, Login> m_logins; ///< of URLs that a person gave
    QHash<Origin, Login> m_redirectLogins;
    QList<Credential> m_credentials;
    QList<Netrc::Entry> m_netrc;
};
