// SPDX-License-Identifier: MIT
#pragma once

#include <host/network/networkoptions.h>
#include <host/parsing/netrc.h>
#include <host/parsing/urlcredentials.h>
#include <host/policy/origin.h>
#include <host/policy/secretheader.h>

#include <QHash>
#include <QList>
#include <QNetworkRequest>
#include <QPair>
#include <QSet>
#include <QThread>
#include <QVariantMap>

/// The credentials of a session, and to whom they may be shown.
///
/// Each belongs to one origin and is shown to that alone, but for headers that a person gave for all servers. Where a
/// person named a server by giving a URL of it, the server is an own one: credentials without an origin, and the
/// default entry of a netrc file, are for own servers only; a machine's entry in the netrc file is also for that
/// machine when it was reached by a redirect, if it came to it over https. For one origin the order is: headers of its
/// own, headers for all, the login of its URL, options, netrc file, the login of a URL that a server redirected to.
///
/// Shared by the chief and its managers, which may outlive it; lives in their thread.
class CredentialStore
{
    Q_DISABLE_COPY_MOVE(CredentialStore)

public:
    using Header = QPair<QByteArray, QByteArray>;

    CredentialStore() = default;

    void add(const Credential &credential);
    void setNetrc(const QList<Netrc::Entry> &entries);

    /// See NetworkAccessChief::takeSecrets().
    QUrl takeSecrets(const QUrl &url, QVariantMap *headers);
    /// One with an origin, or for everywhere; it replaces an earlier one.
    void add(const SecretHeader &header);

    /// A login that a redirect brought along: it is for that server alone, and replaces nothing that a person gave.
    void addRedirectLogin(const QUrl &url);

    /// Whether the body of a POST request may go there: to own servers, or to any while none was named at all.
    bool mayGetBody(const QUrl &url) const { return m_own.isEmpty() || isOwn(Origin::of(url)); }
    /// The headers that requests to this URL carry; none twice. @param kept of the download whose request it is, from
    /// the list: those with a value count where no other of that name was given
    QList<Header> headersFor(const QUrl &url, const QList<SecretHeader> &kept = {}) const;
    bool hasHeaderFor(const QUrl &url, const QString &name) const;
    /// What to answer when the server of this URL asks who is there; empty = nothing.
    Login loginFor(const QUrl &url) const;

private:
    Login netrcLogin(const Origin &origin, const QString &user) const;
    /// With the password from the netrc file, where only the user is given.
    Login completed(const Login &login, const Origin &origin) const;
    QByteArray bearerFor(const Origin &origin) const;
    bool isOwn(const Origin &origin) const { return m_own.contains(origin); }
    const Credential *optionFor(const Origin &origin) const;
    bool isInItsThread() const { return QThread::currentThread() == m_thread; }

    QThread *const m_thread = QThread::currentThread();

    QSet<Origin> m_own;
    QHash<Origin, QList<Header>> m_headers;
    QList<Header> m_headersForAll;
    QHash<Origin, Login> m_logins; ///< of URLs that a person gave
    QHash<Origin, Login> m_redirectLogins;
    QList<Credential> m_credentials;
    QList<Netrc::Entry> m_netrc;
};
