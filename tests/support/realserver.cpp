// SPDX-License-Identifier: MIT
#include <tests/support/realserver.h>

#include <tests/support/testfiles.h>

#include <QDir>
#include <QFile>
#include <QHostAddress>
#include <QStandardPaths>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>
#include <QUuid>

#include <csignal>
#include <sys/prctl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace
{
constexpr int kAttempts = 5;

bool writeText(const QString &path, const QByteArray &text)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(text) == text.size();
}

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

RealServer::LogEntry parseLine(const QByteArray &line)
{
    const QList<QByteArray> fields = line.split('\t');
    const QList<QByteArray> words = fields.first().split(' ');
    return fields.size() == 5 && words.size() == 3
        ? RealServer::LogEntry{words.at(0),  words.at(1), fields.at(1).toInt(), fields.at(2).toLongLong(),
                               fields.at(3), fields.at(4)}
        : RealServer::LogEntry();
}
}

RealServer::RealServer()
    : m_token(QUuid::createUuid().toByteArray(QUuid::Id128))
{
    const pid_t parent = getpid();
    m_process.setChildProcessModifier([parent] {
        // Runs between fork and exec: system calls only.
        prctl(PR_SET_PDEATHSIG, SIGTERM);
        if (getppid() != parent) {
            _exit(1);
        }
    });
    m_process.setStandardInputFile(QProcess::nullDevice());
    m_process.setProcessChannelMode(QProcess::MergedChannels);
    const QDir dir(m_dir.path());
    m_places.home = dir.filePath(u"home"_s);
    m_places.folder = dir.filePath(u"www"_s);
    m_places.readyFolder = dir.filePath(u"home/ready"_s);
    m_places.accessLog = dir.filePath(u"home/access.log"_s);
    prepareFolders();
}

RealServer::~RealServer()
{
    stop();
}

bool RealServer::prepareFolders()
{
    return QDir().mkpath(m_places.readyFolder) && QDir().mkpath(m_places.folder)
        && writeText(m_places.readyFolder + u"/token.txt"_s, m_token);
}

bool RealServer::start(const TestCa &ca)
{
    // A free port may be taken by another test before the server opens it.
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        if (startOnce(ca)) {
            return true;
        }
        stop();
    }
    return false;
}

bool RealServer::startOnce(const TestCa &ca)
{
    const QString configFile = m_places.home + u"/server.conf"_s;
    // Daemons live where an ordinary user's path does not lead.
    const QString found = QStandardPaths::findExecutable(program());
    const QString path = found.isEmpty()
        ? QStandardPaths::findExecutable(program(), {u"/usr/sbin"_s, u"/usr/local/sbin"_s, u"/sbin"_s})
        : found;
    if (path.isEmpty()) {
        m_errorText = u"\"%1\" is not installed"_s.arg(program());
        return false;
    }
    if (!findFreePorts(&m_places.httpPort, &m_places.httpsPort)
        || !writeText(configFile, configuration(m_places, ca))) {
        m_errorText = u"cannot prepare a configuration in \"%1\""_s.arg(m_places.home);
        return false;
    }
    m_process.start(path, arguments(configFile));
    return m_process.waitForStarted() && waitUntilReady();
}

bool RealServer::waitUntilReady()
{
    const bool ready =
        QTest::qWaitFor([this] { return m_process.state() == QProcess::NotRunning || answersItself(); }, kPatienceMs);
    if (ready && m_process.state() == QProcess::Running) {
        return true;
    }
    m_errorText = QString::fromLocal8Bit(m_process.readAll());
    return false;
}

bool RealServer::answersItself() const
{
    QTcpSocket socket;
    socket.connectToHost(QHostAddress(QHostAddress::LocalHost), m_places.httpPort);
    if (!socket.waitForConnected(kPatienceMs)) {
        return false;
    }
    socket.write("GET /.ready/token.txt HTTP/1.0\r\nHost: 127.0.0.1\r\n\r\n");
    while (socket.waitForReadyRead(kPatienceMs)) {}
    return socket.readAll().contains(m_token);
}

void RealServer::stop()
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

QString RealServer::errorText() const
{
    return m_errorText;
}

QString RealServer::folder() const
{
    return m_places.folder;
}

bool RealServer::addFile(const QString &name, quint64 seed, qint64 size)
{
    return TestFiles::writeFile(QDir(m_places.folder).filePath(name), seed, size);
}

QUrl RealServer::url(const QString &path, Scheme scheme) const
{
    const bool secure = scheme == Scheme::Https;
    return QUrl(u"%1://127.0.0.1:%2%3"_s.arg(secure ? u"https"_s : u"http"_s)
                    .arg(secure ? m_places.httpsPort : m_places.httpPort)
                    .arg(path));
}

QByteArray RealServer::accessLog() const
{
    flushLog();
    return TestFiles::readFile(m_places.accessLog);
}

QList<RealServer::LogEntry> RealServer::logEntries() const
{
    QList<LogEntry> entries;
    const QList<QByteArray> lines = accessLog().split('\n');
    for (const QByteArray &line : lines) {
        const LogEntry entry = parseLine(line);
        if (!entry.target.isEmpty() && !entry.target.startsWith("/.ready/")) {
            entries.append(entry);
        }
    }
    return entries;
}

QList<RealServer::LogEntry> RealServer::logEntriesOf(const QByteArray &agent) const
{
    QList<LogEntry> entries = logEntries();
    entries.removeIf([&agent](const LogEntry &entry) { return entry.agent != agent; });
    return entries;
}

void RealServer::flushLog() const {}

qint64 RealServer::processId() const
{
    return m_process.processId();
}
