// SPDX-License-Identifier: MIT
#pragma once

#include <host/policy/requestpace.h>

#include <QElapsedTimer>
#include <QUrl>

#include <functional>

/// The pace of requests to each server, by the clock: one for all downloads of a session. Lives in their thread.
class RequestGate
{
    Q_DISABLE_COPY_MOVE(RequestGate)

public:
    using Clock = std::function<qint64()>;

    RequestGate() { m_elapsed.start(); }

    /// ms, only going forward.
    qint64 now() const { return m_clock ? m_clock() : m_elapsed.elapsed(); }
    /// In place of the machine's own.
    void setClock(const Clock &clock) { m_clock = clock; }

    /// See RequestPace::begin(). @param askedMs what now() was when the request was asked for first
    qint64 begin(const QUrl &url, qint64 askedMs) { return m_pace.begin(hostAndPortFromUrl(url), now(), askedMs); }
    void note(const QUrl &url, RequestPace::Outcome outcome) { m_pace.note(hostAndPortFromUrl(url), outcome, now()); }

private:
    RequestPace m_pace;
    QElapsedTimer m_elapsed;
    Clock m_clock;
};
