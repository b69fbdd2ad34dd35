// SPDX-License-Identifier: MIT
#pragma once

#include <QSslConfiguration>
#include <QTcpServer>

#include <memory>
#include <optional>

class ScriptBook;
class ScriptedConnection;

/// The listening socket of a ScriptedServer; lives in the server's thread and owns its connections.
class ScriptedListener : public QTcpServer
{
    Q_OBJECT

public:
    explicit ScriptedListener(std::shared_ptr<ScriptBook> book);
    ~ScriptedListener() override;

    void setTls(const QSslConfiguration &tls);

    /// Lets every connection look at its gate again.
    void resumeConnections();
    void dropConnections();

protected:
    void incomingConnection(qintptr handle) override;

private:
    QList<ScriptedConnection *> connections() const;

    std::shared_ptr<ScriptBook> m_book;
    std::optional<QSslConfiguration> m_tls;

    Q_DISABLE_COPY_MOVE(ScriptedListener)
};
