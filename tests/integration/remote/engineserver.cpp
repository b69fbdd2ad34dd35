// SPDX-License-Identifier: MIT
#include <host/engine/localengine.h>

#include <QCoreApplication>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocalSocket>

/// One engine for one front end: commands come, and news go, as lines of JSON on the socket that is named as the only
/// argument. Ends with it.
int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("plait"));
    QLocalSocket socket;
    LocalEngine engine;
    QObject::connect(&engine, &Engine::told, &socket, [&socket](const EngineNews &news) {
        socket.write(QJsonDocument(news.toJson()).toJson(QJsonDocument::Compact) + '\n');
        socket.flush();
    });
    QObject::connect(&socket, &QLocalSocket::readyRead, &engine, [&socket, &engine] {
        while (socket.canReadLine())
            // In their order they get the numbers again that they had.
            engine.send(EngineCommand::fromJson(QJsonDocument::fromJson(socket.readLine()).object()), {});
    });
    QObject::connect(&socket, &QLocalSocket::disconnected, &application, &QCoreApplication::quit);
    socket.connectToServer(application.arguments().value(1));
    return socket.waitForConnected() ? QCoreApplication::exec() : 1;
}
