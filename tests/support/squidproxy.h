// SPDX-License-Identifier: MIT
#pragma once

#include <tests/support/serverprocess.h>

#include <QByteArrayList>
#include <QUrl>

/// Squid, a proxy for http, for ftp in http, and for everything through CONNECT. It keeps nothing of what it fetches.
class SquidProxy : public ServerProcess
{
public:
    static constexpr auto kLogin = "agent:secret";

    enum class Access { Anybody, KnownOnly };

    /// @param access KnownOnly: it asks for kLogin, by basic authentication
    explicit SquidProxy(Access access);

    bool start() { return launch(); }
    QUrl url(const QString &userInfo = {}) const;
    /// "METHOD target status user" of each request that has ended, in that order; "-" = no user.
    QByteArrayList requests() const;

protected:
    QString program() const override;
    QStringList arguments(const QString &configFile) const override;
    QByteArray configurationText() override;

private:
    const Access m_access;

    Q_DISABLE_COPY_MOVE(SquidProxy)
};
