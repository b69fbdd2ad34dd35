// SPDX-License-Identifier: MIT
#pragma once

#include <tests/support/scriptedrequest.h>
#include <tests/support/scriptedresponse.h>

#include <QHash>
#include <QList>
#include <QMutex>
#include <QSet>
#include <QString>

#include <functional>

/// What a ScriptedServer's test and its connections share: the script, the gates and the records. Every operation may
/// be called from any thread.
class ScriptBook
{
public:
    using Handler = std::function<ScriptedResponse(const ScriptedRequest &)>;

    ScriptBook() = default;

    void setHandler(const QByteArray &path, const Handler &handler);
    void setFallback(const Handler &handler);
    /// The handler runs in the calling thread, without a lock.
    ScriptedResponse responseTo(const ScriptedRequest &request) const;

    /// Fills in the request's order.
    void recordRequest(ScriptedRequest *request);
    void recordBodyBytes(int order, qint64 bytes);
    QList<ScriptedRequest> requests() const;
    int requestCount() const;
    qint64 bodyBytesSent(int order) const;

    int recordConnection();
    void recordDisconnection();
    /// The connection of that number goes no further.
    void recordEnd(int connection);
    bool hasEnded(int connection) const;
    int connectionCount() const;
    int openConnections() const;
    int peakConnections() const;

    bool isOpen(const QString &gate) const;
    void open(const QString &gate);
    void shut(const QString &gate);
    void recordHeld(const QString &gate, int difference);
    int heldCount(const QString &gate) const;

private:
    mutable QMutex m_mutex;
    QHash<QByteArray, Handler> m_handlers;
    Handler m_fallback;
    QList<ScriptedRequest> m_requests;
    QHash<int, qint64> m_bodyBytes;
    QSet<QString> m_openGates;
    QHash<QString, int> m_held;
    int m_connections = 0;
    int m_openConnections = 0;
    int m_peakConnections = 0;
    QSet<int> m_ended;

    Q_DISABLE_COPY_MOVE(ScriptBook)
};
