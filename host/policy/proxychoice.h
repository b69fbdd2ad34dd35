// SPDX-License-Identifier: MIT
#pragma once

#include <host/policy/failure.h>

#include <QProcessEnvironment>
#include <QString>
#include <QStringList>
#include <QUrl>

/// Which proxy, if any, stands between here and a URL. Pure.
namespace ProxyChoice
{

constexpr int kDefaultPort = 1080;

/// Proxies as checkedProxy() gives them; empty = none.
struct Settings {
    QUrl everywhere; ///< for every URL; comes before the others
    QUrl http;
    QUrl https;
    QUrl ftp;
    QUrl otherwise; ///< for the schemes that have none of their own
    /// Hosts that are reached directly: "host", "host:port", "domain" or ".domain" (with all below it), an IP address,
    /// a network as "10.0.0.0/8", or "*" for all.
    QStringList exceptions;
};

/// A proxy's URL in full: scheme http, https or socks5, host, port, and the login if it has one. A text without a
/// scheme is an http proxy. Empty, with a reason, when the text names no proxy that can be used.
/// @param reason gets a clause
QUrl checkedProxy(const QString &text, Clause *reason);

/// Of a text that names no such proxy. A login in it is left out.
Failure unusable(const QString &text, const Clause &reason);

/// False, with a failure, when a variable names a proxy that cannot be used: it is there because direct connections
/// are not wanted. HTTP_PROXY in upper case is not looked at, as a web server makes it of a client's Proxy header.
bool fromEnvironment(const QProcessEnvironment &environment, Settings *settings, Failure *failure);

/// As people know it: the proxy "host:port".
QString nameOf(const QUrl &proxy);

/// Whether a text names one so.
bool isNamedIn(const QString &text);

/// The proxy for the URL; empty = none. Loopback is a host like another.
QUrl forUrl(const QUrl &url, const Settings &settings);

}
