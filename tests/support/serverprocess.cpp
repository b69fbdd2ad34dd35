// SPDX-License-Identifier: MIT
#include <tests/support/serverprocess.h>

#include <tests/support/testfiles.h>

#include <QDir>
#include <QFile>
#include <QHostAddress>
#include <QStandardPaths>
#include <QTcpServer>
#include <QTest>

#include <algorithm>
#include <csignal>

#include <sys/prctl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace
{
constexpr int kAttempts = 5;
constexpr uid_t kNobody = 65534;

// Both are open at once, so that they differ.
bool findFreePorts(quint16 *first, quint16 *second)
{
    QTcpServer one;
    QTcpServer two;
    if (!one.listen(QHostAddress::LocalHost) || !two.listen(QHostAddress::LocalHost)) {
        return false;
    }
    *first = one.serverPort();
    *second = two.serverPort();
    return true;
}

// Daemons live where an ordinary user's path does not lead.
QString pathOf(const QString &program)
{
    const QString found = QStandardPaths::findExecutable(program);
    return found.isEmpty() ? QStandardPaths::findExecutable(program, {u"/usr/sbin"_s, u"/usr/local/sbin"_s, u"/sbin"_s})
                           : found;
}

/// The kernel's number of the socket that listens at this port of 127.0.0.1; empty = there is none.
QByteArray listeningSocket(quint16 port)
{
    const QByteArray place = "0100007F:" + QByteArray::number(port, 16).toUpper().rightJustified(4, '0');
    const QList<QByteArray> lines = TestFiles::readFile(u"/proc/net/tcp"_s).split('\n');
    for (const QByteArray &line : lines) {
        const QList<QByteArray> words = line.simplified().split(' ');
        if (words.size() > 9 && words.at(1) == place && words.at(3) == "0A") {
            return words.at(9);
        }
    }
    return {};
}

bool holdsSocket(qint64 processId, const QByteArray &socket)
{
    const QDir files(u"/proc/%1/fd"_s.arg(processId));
    const QStringList names = files.entryList(QDir::Files | QDir::System);
    const QString wanted = u"socket:["_s + QString::fromLatin1(socket) + u']';
    return std::any_of(names.begin(), names.end(), [&](const QString &name) {
        return QFile::symLinkTarget(files.filePath(name)).endsWith(wanted);
    });
}
}

ServerProcess::ServerProcess(User user)
{
    const pid_t parent = getpid();
    const bool changesUser = user == User::Nobody && geteuid() == 0;
    m_process.setChildProcessModifier([parent, changesUser] {
        // Runs between fork and exec: system calls only.
        if (changesUser && (setgid(kNobody) != 0 || setuid(kNobody) != 0)) {
            _exit(1);
        }
        prctl(PR_SET_PDEATHSIG, SIGTERM);
        if (getppid() != parent) {
            _exit(1);
        }
    });
    m_process.setStandardInputFile(QProcess::nullDevice());
    m_process.setProcessChannelMode(QProcess::MergedChannels);
    if (!QDir().mkpath(home())) {
        qWarning("cannot make %s", qPrintable(home()));
    }
    if (changesUser
        && (chown(qPrintable(folder()), kNobody, kNobody) != 0 || chown(qPrintable(home()), kNobody, kNobody) != 0)) {
        qWarning("cannot give %s away", qPrintable(folder()));
    }
}

ServerProcess::~ServerProcess()
{
    stop();
}

bool ServerProcess::launch()
{
    // A free port may be taken by another test before the server opens it.
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        if (launchOnce()) {
            return true;
        }
        stop();
    }
    return false;
}

bool ServerProcess::launchOnce()
{
    const QString configFile = home() + u"/server.conf"_s;
    const QString path = pathOf(program());
    if (path.isEmpty()) {
        m_errorText = u"\"%1\" is not installed"_s.arg(program());
        return false;
    }
    if (!findFreePorts(&m_firstPort, &m_secondPort) || !writeText(configFile, configurationText())) {
        m_errorText = u"cannot prepare a configuration in \"%1\""_s.arg(home());
        return false;
    }
    m_output.clear();
    m_process.start(path, arguments(configFile));
    return m_process.waitForStarted() && waitUntilReady();
}

bool ServerProcess::waitUntilReady()
{
    const bool ready =
        QTest::qWaitFor([this] { return m_process.state() == QProcess::NotRunning || isReady(); }, kPatienceMs);
    if (ready && m_process.state() == QProcess::Running) {
        return true;
    }
    m_errorText = QString::fromLocal8Bit(output());
    return false;
}

bool ServerProcess::isReady() const
{
    const QByteArray socket = listeningSocket(m_firstPort);
    return !socket.isEmpty() && holdsSocket(processId(), socket);
}

void ServerProcess::stop()
{
    if (m_process.state() == QProcess::NotRunning) {
        return;
    }
    m_process.terminate();
    if (!m_process.waitForFinished(kPatienceMs)) {
        m_process.kill();
        m_process.waitForFinished(kPatienceMs);
    }
}

QByteArray ServerProcess::output() const
{
    m_output += m_process.readAll();
    return m_output;
}

QString ServerProcess::home() const
{
    return QDir(m_dir.path()).filePath(u"home"_s);
}

bool ServerProcess::writeText(const QString &path, const QByteArray &text)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(text) == text.size();
}
