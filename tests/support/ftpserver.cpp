// SPDX-License-Identifier: MIT
#include <tests/support/ftpserver.h>

#include <tests/support/testfiles.h>

#include <QDir>

#include <algorithm>

#include <csignal>
#include <sys/prctl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

FtpServer::FtpServer()
{
    const pid_t parent = getpid();
    m_process.setChildProcessModifier([parent] {
        // Runs between fork and exec: system calls only.
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (getppid() != parent)
            _exit(1);
    });
    // Debian's own, which knows Debian's packages; another one may come first in the path.
    m_process.start(u"/usr/bin/python3"_s, {u"-u"_s, QStringLiteral(PLAIT_FTP_SERVER), m_dir.path()});
    if (waitForLine("port "))
        m_port = allLines().constFirst().mid(5).toInt();
    else
        m_errorText = QString::fromLocal8Bit(m_process.readAllStandardError()) + m_process.errorString();
}

FtpServer::~FtpServer()
{
    m_process.closeWriteChannel();
    if (!m_process.waitForFinished(kPatienceMs))
        kill();
}

void FtpServer::kill()
{
    m_process.kill();
    m_process.waitForFinished(kPatienceMs);
}

QUrl FtpServer::url(const QString &path, const QString &userInfo) const
{
    const QString user = userInfo.isEmpty() ? QString() : userInfo + u'@';
    return QUrl("ftp://"_L1 + user + "127.0.0.1:"_L1 + QString::number(m_port) + path);
}

QString FtpServer::path(const QString &name) const
{
    return QDir(m_dir.path()).filePath(name);
}

bool FtpServer::addFile(const QString &name, quint64 seed, qint64 size)
{
    return TestFiles::writeFile(path(name), seed, size);
}

QByteArrayList FtpServer::commands() const
{
    QByteArrayList commands;
    for (const QByteArray &line : allLines()) {
        const QByteArray command = line.mid(line.indexOf(' ') + 1);
        if (line.at(0) >= '0' && line.at(0) <= '9' && command != "open" && command != "closed")
            commands.append(command.trimmed());
    }
    return commands;
}

QByteArrayList FtpServer::commands(const QByteArray &name) const
{
    QByteArrayList found = commands();
    found.removeIf([&name](const QByteArray &command) { return command != name && !command.startsWith(name + ' '); });
    return found;
}

void FtpServer::order(const QByteArray &text)
{
    const QByteArray number = QByteArray::number(++m_orders);
    m_process.write(number + ' ' + text + '\n');
    waitForLine("done " + number);
}

bool FtpServer::waitForLine(const QByteArray &beginning)
{
    const auto isThere = [this, &beginning] {
        const QByteArrayList all = allLines();
        return std::any_of(all.begin(), all.end(), [&](const QByteArray &line) { return line.startsWith(beginning); });
    };
    while (!isThere()) {
        if (m_process.state() == QProcess::NotRunning || !m_process.waitForReadyRead(kPatienceMs))
            return isThere();
    }
    return true;
}

QByteArrayList FtpServer::lines(const QByteArray &end) const
{
    QByteArrayList found = allLines();
    found.removeIf([&end](const QByteArray &line) { return !line.endsWith(end); });
    return found;
}

/// Whole ones only.
QByteArrayList FtpServer::allLines() const
{
    m_output += m_process.readAllStandardOutput();
    QByteArrayList all = m_output.split('\n');
    all.removeLast();
    all.removeAll(QByteArray());
    return all;
}
