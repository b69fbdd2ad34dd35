// SPDX-License-Identifier: MIT
#include <tests/support/scriptedserver.h>

#include <tests/support/scriptedlistener.h>

#include <QHostAddress>
#include <QTcpServer>
#include <QTest>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{
ScriptedListener *listenerWith(const std::shared_ptr<ScriptBook> &book, const QSslConfiguration &tls)
{
    auto *listener = new ScriptedListener(book);
    listener->setTls(tls);
    return listener;
}
}

ScriptedServer::ScriptedServer()
    : m_book(std::make_shared<ScriptBook>())
    , m_listener(new ScriptedListener(m_book))
    , m_thread(m_listener)
{
}

ScriptedServer::ScriptedServer(const QSslConfiguration &tls)
    : m_book(std::make_shared<ScriptBook>())
    , m_listener(listenerWith(m_book, tls))
    , m_thread(m_listener)
    , m_secure(true)
{
}

bool ScriptedServer::isListening() const
{
    return m_thread.port() != 0;
}

quint16 ScriptedServer::port() const
{
    return m_thread.port();
}

QUrl ScriptedServer::url(const QString &path) const
{
    return QUrl((m_secure ? u"https"_s : u"http"_s) + u"://127.0.0.1:"_s + QString::number(port()) + path);
}

quint16 ScriptedServer::refusedPort()
{
    QTcpServer server;
    server.listen(QHostAddress::LocalHost);
    return server.serverPort();
}

void ScriptedServer::setResponse(const QByteArray &path, const ScriptedResponse &response)
{
    m_book->setHandler(path, [response](const ScriptedRequest &) { return response; });
}

void ScriptedServer::setResponses(const QByteArray &path, const QList<ScriptedResponse> &responses)
{
    Q_ASSERT(!responses.isEmpty());
    // Handlers run one at a time, in the server's thread: the place needs no lock.
    const auto next = std::make_shared<qsizetype>(0);
    m_book->setHandler(path, [responses, next](const ScriptedRequest &) {
        return responses.at(std::min((*next)++, responses.size() - 1));
    });
}

void ScriptedServer::setHandler(const QByteArray &path, const Handler &handler)
{
    m_book->setHandler(path, handler);
}

void ScriptedServer::setFallback(const Handler &handler)
{
    m_book->setFallback(handler);
}

void ScriptedServer::addRedirectChain(const QByteArray &prefix, int hops, const QByteArray &target)
{
    const auto link = [&prefix](int hop) { return prefix + "/" + QByteArray::number(hop); };
    for (int hop = 1; hop <= hops; ++hop) {
        setResponse(link(hop), ScriptedResponse::redirect(hop == 1 ? target : link(hop - 1)));
    }
}

void ScriptedServer::release(const QString &gate)
{
    m_book->open(gate);
    QMetaObject::invokeMethod(m_listener, &ScriptedListener::resumeConnections);
}

void ScriptedServer::shut(const QString &gate)
{
    m_book->shut(gate);
}

int ScriptedServer::heldCount(const QString &gate) const
{
    return m_book->heldCount(gate);
}

bool ScriptedServer::waitForHeld(const QString &gate, int count, int timeoutMs) const
{
    return QTest::qWaitFor([&] { return m_book->heldCount(gate) >= count; }, timeoutMs);
}

QList<ScriptedRequest> ScriptedServer::requests() const
{
    return m_book->requests();
}

QList<ScriptedRequest> ScriptedServer::requests(const QByteArray &path) const
{
    QList<ScriptedRequest> found = m_book->requests();
    found.removeIf([&path](const ScriptedRequest &request) { return request.path() != path; });
    return found;
}

bool ScriptedServer::waitForRequests(int count, int timeoutMs) const
{
    return QTest::qWaitFor([&] { return m_book->requestCount() >= count; }, timeoutMs);
}

qint64 ScriptedServer::bodyBytesSent(int order) const
{
    return m_book->bodyBytesSent(order);
}

int ScriptedServer::connectionCount() const
{
    return m_book->connectionCount();
}

int ScriptedServer::openConnections() const
{
    return m_book->openConnections();
}

int ScriptedServer::peakConnections() const
{
    return m_book->peakConnections();
}

bool ScriptedServer::hasEnded(int connection) const
{
    return m_book->hasEnded(connection);
}

bool ScriptedServer::waitForNoConnections(int timeoutMs) const
{
    return QTest::qWaitFor([&] { return m_book->openConnections() == 0; }, timeoutMs);
}

void ScriptedServer::dropConnections()
{
    QMetaObject::invokeMethod(m_listener, &ScriptedListener::dropConnections, Qt::BlockingQueuedConnection);
}

void ScriptedServer::stopListening()
{
    QMetaObject::invokeMethod(m_listener, &QTcpServer::close, Qt::BlockingQueuedConnection);
}
