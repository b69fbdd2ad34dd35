// SPDX-License-Identifier: MIT
#include <tests/integration/realservers.h>

#include <QDir>
#include <QFile>

bool RealServers::start()
{
    if (!m_ca.isValid()) {
        m_errorText = m_ca.errorText();
        return false;
    }
    for (RealServer *server : {static_cast<RealServer *>(&m_nginx), static_cast<RealServer *>(&m_lighttpd)}) {
        if (!server->start(m_ca)) {
            m_errorText = server->errorText();
            return false;
        }
    }
    return true;
}

QString RealServers::errorText() const
{
    return m_errorText;
}

bool RealServers::addFile(const QString &name, quint64 seed, qint64 size)
{
    // One copy on disk serves both.
    return m_nginx.addFile(name, seed, size)
        && QFile::link(QDir(m_nginx.folder()).filePath(name), QDir(m_lighttpd.folder()).filePath(name));
}

RealServer &RealServers::server(Kind kind)
{
    return kind == Kind::Nginx ? static_cast<RealServer &>(m_nginx) : m_lighttpd;
}

NginxServer &RealServers::nginx()
{
    return m_nginx;
}

LighttpdServer &RealServers::lighttpd()
{
    return m_lighttpd;
}

const TestCa &RealServers::ca() const
{
    return m_ca;
}
