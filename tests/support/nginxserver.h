// SPDX-License-Identifier: MIT
#pragma once

#include <tests/support/realserver.h>

/// nginx. Besides the folder's files at their own paths it serves
///
///     /chunked/<file>        in chunks, without a length
///     /until-close/<file>    without length or chunks: the body ends where the connection ends
///     /no-ranges/<file>      whole, whatever range is asked for
///     /rate/<n>k/<file>      at n KiB a second and connection
///     /first-slow/<m>k/<n>k/<file>   the same, at m KiB a second where no range is asked for
///     /private/<n>k/<file>   the same as /rate/, for those who say (by basic authentication) that they are kLogin
///     /known/<file>         over https, for those who show a certificate of the authority
///     /redirect/<n>/<file>   after n redirects (at most kLongestChain)
///     /status/<code>         that status (401, 403, 404, 410, 416, 500 or 503)
class NginxServer : public RealServer
{
public:
    static constexpr int kLongestChain = 20;
    static constexpr auto kLogin = "me:secret";

    NginxServer() = default;

    /// From the next start on it speaks TLS 1.1, which nobody should, and nothing else.
    void setOldTls() { m_speaksOldTls = true; }

protected:
    QString program() const override;
    QStringList arguments(const QString &configFile) const override;
    QByteArray configuration(const Places &places, const TestCa &ca) const override;

private:
    bool m_speaksOldTls = false;

    Q_DISABLE_COPY_MOVE(NginxServer)
};
