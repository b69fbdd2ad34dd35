// SPDX-License-Identifier: MIT
#pragma once

#include <tests/support/listenerthread.h>
#include <tests/support/scriptbook.h>
#include <tests/support/scriptedrequest.h>
#include <tests/support/scriptedresponse.h>

#include <QSslConfiguration>
#include <QString>
#include <QUrl>

#include <memory>

class ScriptedListener;

/// An HTTP/1.1 server on 127.0.0.1 that does exactly what its script says, in a thread of its own. It listens from
/// construction to destruction and records every request.
///
/// Everything here may be called from the test's thread at any time; the waits keep that thread's events running.
/// Handlers run in the server's thread: what they touch of the test must bear that.
class ScriptedServer
{
public:
    using Handler = ScriptBook::Handler;

    static constexpr int kPatienceMs = 20000;

    ScriptedServer();
    /// Serves https with this certificate and key.
    explicit ScriptedServer(const QSslConfiguration &tls);

    /// False when no port could be opened.
    bool isListening() const;
    quint16 port() const;
    /// `path` begins with "/" and may hold a query.
    QUrl url(const QString &path) const;
    /// A port of 127.0.0.1 at which nobody listens.
    static quint16 refusedPort();

    /// Paths are compared without the query. What has no script gets the fallback's answer, at first 404.
    void setResponse(const QByteArray &path, const ScriptedResponse &response);
    /// The first request gets the first answer, and so on; the last answer holds for all that follow.
    void setResponses(const QByteArray &path, const QList<ScriptedResponse> &responses);
    void setHandler(const QByteArray &path, const Handler &handler);
    void setFallback(const Handler &handler);
    /// "<prefix>/<hops>" redirects so many times, to "<prefix>/<hops - 1>" and so on, and at last to `target`.
    void addRedirectChain(const QByteArray &prefix, int hops, const QByteArray &target);

    /// Lets go everything that is held at the gate, now and later.
    void release(const QString &gate = QString());
    /// Holds again what comes to the gate.
    void shut(const QString &gate = QString());
    /// Answers that stand at the gate at this moment.
    int heldCount(const QString &gate = QString()) const;
    bool waitForHeld(const QString &gate, int count = 1, int timeoutMs = kPatienceMs) const;

    QList<ScriptedRequest> requests() const;
    QList<ScriptedRequest> requests(const QByteArray &path) const;
    bool waitForRequests(int count, int timeoutMs = kPatienceMs) const;
    /// Bytes of the body that were handed to the connection in answer to the request of that order.
    qint64 bodyBytesSent(int order) const;

    int connectionCount() const;
    int openConnections() const;
    int peakConnections() const;
    /// Whether the connection of that number (ScriptedRequest::connection) is closed.
    bool hasEnded(int connection) const;
    bool waitForNoConnections(int timeoutMs = kPatienceMs) const;

    /// Ends all connections at once, as a server that dies does; it goes on listening.
    void dropConnections();
    /// New connections are refused from now on; those that are open live on.
    void stopListening();

private:
    std::shared_ptr<ScriptBook> m_book;
    ScriptedListener *m_listener; // lives in m_thread and is deleted as it ends
    ListenerThread m_thread;
    bool m_secure = false;

    Q_DISABLE_COPY_MOVE(ScriptedServer)
};
