// SPDX-License-Identifier: MIT
#pragma once

#include <host/policy/requestpace.h>

#include <QElapsedTimer>
#include <QUrl>

/// The pace of requests to each server, by the clock: one for all downloads of a session. Lives in their thread.
class RequestGate
{
    Q_DISABLE_COPY_MOVE(RequestGate)

public:
    RequestGate() { m_clock.start(); }

    /// ms to wait, and to ask again; 0 = the request is sent now.
    qint64 begin(const QUrl &url) { return m_pace.begin(hostAndPortFromUrl(url), m_clock.elapsed()); }
    void note(const QUrl &url, RequestPace::Outcome outcome) { m_pace.note(hostAndPortFromUrl(url), outcome); }

private:
    RequestPace m_pace;
    QElapsedTimer m_clock;
};
