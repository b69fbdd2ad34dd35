// SPDX-License-Identifier: MIT
#pragma once

#include <tests/support/serverprocess.h>

#include <QByteArrayList>
#include <QUrl>

/// microsocks, a SOCKS5 proxy.
class SocksProxy : public ServerProcess
{
public:
    static constexpr auto kLogin = "agent:secret";

    enum class Access { Anybody, KnownOnly };

    /// @param access KnownOnly: it asks for kLogin
    explicit SocksProxy(Access access)
        : m_access(access)
    {
    }

    bool start() { return launch(); }
    /// @param scheme socks5 or socks5h
    QUrl url(const QString &scheme, const QString &userInfo = {}) const;
    /// "host:port" of each connection that it made for somebody, with the host as it was named.
    QByteArrayList targets() const;

protected:
    QString program() const override;
    QStringList arguments(const QString &configFile) const override;
    QByteArray configurationText() override { return {}; }

private:
    const Access m_access;

    Q_DISABLE_COPY_MOVE(SocksProxy)
};
