// SPDX-License-Identifier: MIT
#pragma once

#include <host/policy/proxychoice.h>

#include <QNetworkProxyFactory>

/// Tells a manager the proxy for each URL. Nothing of the system's or the application's settings plays a part.
class ProxyRule : public QNetworkProxyFactory
{
    Q_DISABLE_COPY_MOVE(ProxyRule)

public:
    explicit ProxyRule(const ProxyChoice::Settings &settings);

    /// Logins for http and https are in wireText().
    QList<QNetworkProxy> queryProxy(const QNetworkProxyQuery &query) override;

    /// A text that Qt puts on the wire as UTF-8: it writes logins in Latin-1, a character to a byte.
    static QString wireText(const QString &text) { return QString::fromLatin1(text.toUtf8()); }

private:
    const ProxyChoice::Settings m_settings;
};
