// SPDX-License-Identifier: MIT
#include <host/engine/localengine.h>
#include <inet/qt/download/framework/qtappdefaultlogger.h>

#include <QCoreApplication>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocalSocket>

using namespace Qt::StringLiterals;

namespace
{

void write(QLocalSocket &socket, const QJsonObject &line)
{
    socket.write(QJsonDocument(line).toJson(QJsonDocument::Compact) + '\n');
    socket.flush();
}

}

/// One engine for one front end: commands come, and news and lines of the log go, as lines of JSON on the socket that
/// is named as the only argument. Ends with it.
int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(u"plait"_s);
    QLocalSocket socket;
    LocalEngine engine;
    QtAppLogger *const logger = QtAppDefaultLogger::instance();
    logger->setSink([&socket](int level, const QString &line) {
        QMetaObject::invokeMethod(&socket, [&socket, level, line] {
            write(socket, {{u"log"_s, line}, {u"level"_s, level}});
        });
    });
    QObject::connect(&engine, &Engine::told, &socket,
                     [&socket](const EngineNews &news) { write(socket, news.toJson()); });
    QObject::connect(&socket, &QLocalSocket::readyRead, &engine, [&socket, &engine, logger] {
        while (socket.canReadLine()) {
            const QJsonObject line = QJsonDocument::fromJson(socket.readLine()).object();
            logger->setVerbosityLevel(line.value("log"_L1).toInt());
            // In their order they get the numbers again that they had.
            engine.send(EngineCommand::fromJson(line), {});
        }
    });
    QObject::connect(&socket, &QLocalSocket::disconnected, &application, &QCoreApplication::quit);
    socket.connectToServer(application.arguments().value(1));
    const int status = socket.waitForConnected() ? QCoreApplication::exec() : 1;
    logger->setSink({});
    return status;
}
