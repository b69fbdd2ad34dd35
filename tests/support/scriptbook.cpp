// SPDX-License-Identifier: MIT
#include <tests/support/scriptbook.h>

#include <QMutexLocker>

#include <algorithm>

void ScriptBook::setHandler(const QByteArray &path, const Handler &handler)
{
    const QMutexLocker locker(&m_mutex);
    m_handlers.insert(path, handler);
}

void ScriptBook::setFallback(const Handler &handler)
{
    const QMutexLocker locker(&m_mutex);
    m_fallback = handler;
}

ScriptedResponse ScriptBook::responseTo(const ScriptedRequest &request) const
{
    Handler handler;
    {
        const QMutexLocker locker(&m_mutex);
        handler = m_handlers.value(request.path(), m_fallback);
    }
    return handler ? handler(request) : ScriptedResponse::error(404);
}

void ScriptBook::recordRequest(ScriptedRequest *request)
{
    const QMutexLocker locker(&m_mutex);
    request->order = static_cast<int>(m_requests.size());
    m_requests.append(*request);
}

void ScriptBook::recordBodyBytes(int order, qint64 bytes)
{
    const QMutexLocker locker(&m_mutex);
    m_bodyBytes.insert(order, bytes);
}

QList<ScriptedRequest> ScriptBook::requests() const
{
    const QMutexLocker locker(&m_mutex);
    return m_requests;
}

int ScriptBook::requestCount() const
{
    const QMutexLocker locker(&m_mutex);
    return static_cast<int>(m_requests.size());
}

qint64 ScriptBook::bodyBytesSent(int order) const
{
    const QMutexLocker locker(&m_mutex);
    return m_bodyBytes.value(order);
}

int ScriptBook::recordConnection()
{
    const QMutexLocker locker(&m_mutex);
    ++m_openConnections;
    m_peakConnections = std::max(m_peakConnections, m_openConnections);
    return ++m_connections;
}

void ScriptBook::recordDisconnection()
{
    const QMutexLocker locker(&m_mutex);
    --m_openConnections;
}

void ScriptBook::recordEnd(int connection)
{
    const QMutexLocker locker(&m_mutex);
    m_ended.insert(connection);
}

bool ScriptBook::hasEnded(int connection) const
{
    const QMutexLocker locker(&m_mutex);
    return m_ended.contains(connection);
}

int ScriptBook::connectionCount() const
{
    const QMutexLocker locker(&m_mutex);
    return m_connections;
}

int ScriptBook::openConnections() const
{
    const QMutexLocker locker(&m_mutex);
    return m_openConnections;
}

int ScriptBook::peakConnections() const
{
    const QMutexLocker locker(&m_mutex);
    return m_peakConnections;
}

bool ScriptBook::isOpen(const QString &gate) const
{
    const QMutexLocker locker(&m_mutex);
    return m_openGates.contains(gate);
}

void ScriptBook::open(const QString &gate)
{
    const QMutexLocker locker(&m_mutex);
    m_openGates.insert(gate);
}

void ScriptBook::shut(const QString &gate)
{
    const QMutexLocker locker(&m_mutex);
    m_openGates.remove(gate);
}

void ScriptBook::recordHeld(const QString &gate, int difference)
{
    const QMutexLocker locker(&m_mutex);
    m_held[gate] += difference;
}

int ScriptBook::heldCount(const QString &gate) const
{
    const QMutexLocker locker(&m_mutex);
    return m_held.value(gate);
}
