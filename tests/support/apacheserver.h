// SPDX-License-Identifier: MIT
#pragma once

#include <tests/support/realserver.h>

/// Apache httpd. Besides the folder's files at their own paths it serves
///
///     /chunked/<file>       in chunks, without a length
///     /until-close/<file>   without length or chunks: the body ends where the connection ends
///     /no-ranges/<file>     whole, whatever range is asked for
///     /basic/<file>         for those who say (by basic authentication) that they are kLogin
///     /digest/<file>        the same by digest authentication, which is with MD5: Apache knows no other
class ApacheServer : public RealServer
{
public:
    static constexpr auto kLogin = "me:secret";

    ApacheServer() = default;

    /// Connections over which a client with this User-Agent has asked.
    qsizetype connectionsOf(const QByteArray &agent) const;

protected:
    QString program() const override;
    QStringList arguments(const QString &configFile) const override;
    QByteArray configuration(const Places &places, const TestCa &ca) const override;

private:
    Q_DISABLE_COPY_MOVE(ApacheServer)
};
