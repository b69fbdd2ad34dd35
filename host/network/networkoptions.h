// SPDX-License-Identifier: MIT
#pragma once

#include <host/network/networkpath.h>

#include <QByteArray>
#include <QList>
#include <QString>
#include <QUrl>

/// What somebody may show to a server to be let in.
struct Credential {
    /// Only scheme, host and port count. Empty = for the servers of all URLs that a person gave (see
    /// NetworkAccessChief::takeSecrets()), but for none that these redirect to.
    QUrl origin;
    QString user;
    QString password;
    /// Token for "Authorization: Bearer"; where it is not empty, user and password are not used.
    QByteArray bearer;
};

/// How the network is reached, and with which credentials. Applied once, before the first request.
struct NetworkOptions {
    /// "http://[user:password@]host[:port]" or https://, socks5://, socks5h:// (both let the proxy look names up); port
    /// 1080 where none is given. What a person typed becomes one by ProxyChoice::checkedProxy(). Empty = the
    /// environment's.
    QUrl proxy;
    /// http_proxy, https_proxy, HTTPS_PROXY, ftp_proxy, FTP_PROXY, all_proxy, ALL_PROXY; no_proxy and NO_PROXY hold for
    /// `proxy`, too. False = the environment is not looked at.
    bool useEnvironmentProxies = true;
    /// Earlier ones come first.
    QList<Credential> credentials;
    bool netrc = false; ///< read logins from the netrc file
    QString netrcFile; ///< empty = $NETRC, else ~/.netrc
    QString cookiesFile; ///< in Netscape's format; empty = none
    NetworkPath path;
};
