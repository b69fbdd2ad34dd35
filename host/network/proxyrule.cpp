// SPDX-License-Identifier: MIT
#include <host/network/proxyrule.h>

using namespace Qt::StringLiterals;

ProxyRule::ProxyRule(const ProxyChoice::Settings &settings)
    : m_settings(settings)
{
}

QList<QNetworkProxy> ProxyRule::queryProxy(const QNetworkProxyQuery &query)
{
    const QUrl url = ProxyChoice::forUrl(query.url(), m_settings);
    if (url.isEmpty())
        return {QNetworkProxy(QNetworkProxy::NoProxy)};
    const QNetworkProxy::ProxyType type =
        url.scheme() == "http"_L1 ? QNetworkProxy::HttpProxy : QNetworkProxy::Socks5Proxy;
    const QString user = url.userName(QUrl::FullyDecoded);
    const QString password = url.password(QUrl::FullyDecoded);
    const bool isQts = query.url().scheme() != "ftp"_L1;
    return {QNetworkProxy(type, url.host(QUrl::FullyDecoded), quint16(url.port()), isQts ? wireText(user) : user,
                          isQts ? wireText(password) : password)};
}
