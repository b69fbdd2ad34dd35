// SPDX-License-Identifier: MIT
#pragma once

#include <tests/support/listenerthread.h>
#include <tests/support/scriptedrequest.h>

#include <QByteArray>

#include <functional>

/// Bytes of one answer, how they go out and what becomes of the connection.
struct PacedAnswer {
    enum class End {
        KeepOpen, ///< and the next request on it is answered
        Close,
        Reset,
    };

    QByteArray bytes;
    End end = End::KeepOpen;
    /// How many go out at once; 0: all.
    qsizetype piece = 0;
    /// Between two pieces it waits for 0 to so many milliseconds.
    int longestPauseMs = 0;
    /// Goes on from there when somebody else connects, or after a fifth of a second; -1: goes on at once.
    qsizetype stallsAt = -1;
};

/// A server on 127.0.0.1, in a thread of its own, that asks for each answer and sends it as that wants to be sent.
/// Requests with a body are not understood.
class PacedServer
{
public:
    /// Called in the server's thread. The request has the number of its connection.
    /// @param isReused the connection has had an answer before
    using Answers = std::function<PacedAnswer(const ScriptedRequest &request, bool isReused)>;

    explicit PacedServer(const Answers &answers);

    /// 0 when none could be opened.
    quint16 port() const { return m_listener.port(); }

private:
    ListenerThread m_listener;
};
