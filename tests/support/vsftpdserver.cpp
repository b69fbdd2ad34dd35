// SPDX-License-Identifier: MIT
#include <tests/support/vsftpdserver.h>

#include <tests/support/testfiles.h>

#include <QDir>

using namespace Qt::StringLiterals;

namespace
{
constexpr char kTemplate[] = R"(listen=YES
listen_address=127.0.0.1
listen_port=%PORT%
background=NO
run_as_launching_user=YES
one_process_model=YES
seccomp_sandbox=NO
anonymous_enable=YES
local_enable=NO
no_anon_password=NO
anon_root=%WWW%
anon_max_rate=%RATE%
anon_world_readable_only=NO
secure_chroot_dir=%HOME%/empty
xferlog_enable=YES
log_ftp_protocol=YES
vsftpd_log_file=%HOME%/vsftpd.log
)";
}

VsftpdServer::VsftpdServer()
{
    QDir().mkpath(path({}));
    QDir().mkpath(home() + u"/empty"_s);
}

bool VsftpdServer::start(qint64 rate)
{
    m_rate = rate;
    return launch();
}

QUrl VsftpdServer::url(const QString &path, const QString &userInfo) const
{
    QUrl url(u"ftp://127.0.0.1:%1%2"_s.arg(firstPort()).arg(path));
    url.setUserInfo(userInfo);
    return url;
}

QString VsftpdServer::path(const QString &name) const
{
    return QDir(folder()).filePath(u"www/"_s + name);
}

bool VsftpdServer::addFile(const QString &name, quint64 seed, qint64 size)
{
    return TestFiles::writeFile(path(name), seed, size);
}

bool VsftpdServer::addFolder(const QString &name)
{
    return QDir().mkpath(path(name));
}

// A line: time [pid 1] [ftp] FTP command: Client "127.0.0.1", "RETR /file.bin"
QByteArrayList VsftpdServer::commands() const
{
    QByteArrayList commands;
    const QByteArrayList lines = TestFiles::readFile(home() + u"/vsftpd.log"_s).split('\n');
    for (const QByteArray &line : lines) {
        if (const qsizetype place = line.indexOf("\", \""); line.contains("FTP command:") && place != -1) {
            commands.append(line.mid(place + 4).chopped(1));
        }
    }
    return commands;
}

QByteArrayList VsftpdServer::commands(const QByteArray &name) const
{
    QByteArrayList found = commands();
    found.removeIf([&name](const QByteArray &command) { return command != name && !command.startsWith(name + ' '); });
    return found;
}

QString VsftpdServer::program() const
{
    return u"vsftpd"_s;
}

QStringList VsftpdServer::arguments(const QString &configFile) const
{
    return {configFile};
}

QByteArray VsftpdServer::configurationText()
{
    QByteArray text(kTemplate);
    text.replace("%WWW%", path({}).toUtf8());
    text.replace("%HOME%", home().toUtf8());
    text.replace("%RATE%", QByteArray::number(m_rate));
    text.replace("%PORT%", QByteArray::number(firstPort()));
    return text;
}
