// SPDX-License-Identifier: MIT
#include <tests/support/realserver.h>

#include <tests/support/testca.h>
#include <tests/support/testfiles.h>

#include <QDir>
#include <QHostAddress>
#include <QTcpSocket>
#include <QUuid>

using namespace Qt::StringLiterals;

namespace
{
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
    m_places.home = home();
    m_places.folder = QDir(ServerProcess::folder()).filePath(u"www"_s);
    m_places.readyFolder = home() + u"/ready"_s;
    m_places.accessLog = home() + u"/access.log"_s;
    prepareFolders();
}

bool RealServer::prepareFolders()
{
    return QDir().mkpath(m_places.readyFolder) && QDir().mkpath(m_places.folder)
        && writeText(m_places.readyFolder + u"/token.txt"_s, m_token);
}

bool RealServer::start(const TestCa &ca)
{
    m_ca = &ca;
    return launch();
}

QByteArray RealServer::configurationText()
{
    m_places.httpPort = firstPort();
    m_places.httpsPort = secondPort();
    const bool isOwn = !m_certificateStem.isEmpty();
    m_places.certificate = isOwn ? m_certificateStem + u".pem"_s : m_ca->certificateFile();
    m_places.key = isOwn ? m_certificateStem + u".key"_s : m_ca->keyFile();
    return configuration(m_places, *m_ca);
}

bool RealServer::isReady() const
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
