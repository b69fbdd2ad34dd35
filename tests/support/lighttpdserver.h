// SPDX-License-Identifier: MIT
#pragma once

#include <tests/support/realserver.h>

/// lighttpd. Besides the folder's files at their own paths it serves
///
///     /cgi/chunked.sh?<file>   in chunks, without a length
///     /rate/<file>             at kSlowRate bytes a second and connection
///     /redirect/<n>/<file>     after n redirects (at most kLongestChain)
class LighttpdServer : public RealServer
{
public:
    static constexpr int kLongestChain = 20;
    static constexpr int kSlowRate = 100 * 1024;

    LighttpdServer() = default;

protected:
    QString program() const override;
    QStringList arguments(const QString &configFile) const override;
    QByteArray configuration(const Places &places, const TestCa &ca) const override;
    void flushLog() const override;

private:
    Q_DISABLE_COPY_MOVE(LighttpdServer)
};
