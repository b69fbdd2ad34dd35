// SPDX-License-Identifier: MIT
#pragma once

#include <tests/support/lighttpdserver.h>
#include <tests/support/nginxserver.h>
#include <tests/support/testca.h>

#include <QString>

/// nginx and lighttpd with one authority, serving the same files.
class RealServers
{
public:
    enum class Kind { Nginx, Lighttpd };

    RealServers() = default;

    /// False when one of them does not run; errorText() says why.
    bool start();
    QString errorText() const;

    bool addFile(const QString &name, quint64 seed, qint64 size);
    RealServer &server(Kind kind);
    NginxServer &nginx();
    LighttpdServer &lighttpd();
    const TestCa &ca() const;

private:
    TestCa m_ca;
    NginxServer m_nginx;
    LighttpdServer m_lighttpd;
    QString m_errorText;

    Q_DISABLE_COPY_MOVE(RealServers)
};
