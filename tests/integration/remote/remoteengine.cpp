// SPDX-License-Identifier: MIT
#include <tests/integration/remote/remoteengine.h>

#include <inet/qt/download/framework/qtappdefaultlogger.h>

#include <QCoreApplication>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocalServer>
#include <QLocalSocket>
#include <QProcess>
#include <QUuid>

#include <csignal>
#include <sys/prctl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

RemoteEngine::RemoteEngine(const QString &program, QObject *parent)
    : Engine(parent)
    , m_process(new QProcess(this))
{
    QLocalServer server;
    server.setSocketOptions(QLocalServer::UserAccessOption);
    server.listen(u"plait-"_s + QUuid::createUuid().toString(QUuid::Id128));
    m_process->setProcessChannelMode(QProcess::ForwardedChannels);
    // A signal to the front end's group is the front end's to pass on.
    m_process->setChildProcessModifier([] {
        setpgid(0, 0);
        prctl(PR_SET_PDEATHSIG, SIGKILL);
    });
    m_process->start(program, {server.fullServerName()});
    server.waitForNewConnection(-1);
    m_socket = server.nextPendingConnection();
    m_socket->setParent(this);
    connect(m_socket, &QLocalSocket::readyRead, this, &RemoteEngine::onReadyRead);
    connect(m_socket, &QLocalSocket::disconnected, this, &RemoteEngine::onGone);
}

RemoteEngine::~RemoteEngine()
{
    hasEndedWell();
}

bool RemoteEngine::hasEndedWell()
{
    m_socket->disconnect(this);
    m_socket->close();
    m_process->waitForFinished(-1);
    return m_process->exitStatus() == QProcess::NormalExit && m_process->exitCode() == 0;
}

qint64 RemoteEngine::processId() const
{
    return m_process->processId();
}

void RemoteEngine::transmit(const EngineCommand &command)
{
    if (m_socket->state() != QLocalSocket::ConnectedState) {
        QMetaObject::invokeMethod(this, &RemoteEngine::refuseRest, Qt::QueuedConnection);
        return;
    }
    QJsonObject line = command.toJson();
    line.insert(u"log"_s, QtAppDefaultLogger::instance()->verbosityLevel());
    m_socket->write(QJsonDocument(line).toJson(QJsonDocument::Compact) + '\n');
    m_socket->flush();
}

void RemoteEngine::onReadyRead()
{
    while (m_socket->canReadLine()) {
        const QJsonObject line = QJsonDocument::fromJson(m_socket->readLine()).object();
        if (line.contains("log"_L1))
            QtAppDefaultLogger::instance()->log(line.value("level"_L1).toInt(), line.value("log"_L1).toString());
        else
            deliver(EngineNews::fromJson(line));
    }
}

/// Nobody will answer any more.
void RemoteEngine::refuseRest()
{
    answerRest(Failure::make(Failure::Kind::Stopped, {}));
}

void RemoteEngine::onGone()
{
    onReadyRead();
    refuseRest();
    deliver({EngineNews::Kind::Closed});
}
