// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/records/connectionsmap.h>

#include <QHash>
#include <QtGlobal>

/// How soon a server may be asked again that brings nothing, or next to nothing.
///
/// Answers that bring nothing are free at first, then the time between two requests grows with each; answers of a few
/// bytes, of which there are more, make progress, and come at a steady pace. Both are forgotten as soon as bytes come.
/// Nothing else counts: neither refusals nor servers that are not there. Takes the time from its caller.
class RequestPace
{
public:
    /// What a good answer came to.
    enum class Outcome {
        Nothing, ///< no byte of a body
        Little, ///< fewer than kEnough bytes, and not up to the end of the file
        Enough,
    };

    /// Bytes of one answer that make all be forgotten.
    static constexpr qint64 kEnough = 16 * 1024;
    /// In a row, of either kind, before anybody has to wait.
    static constexpr int kFree = 3;
    /// Between two requests after that; doubled with each answer more that brings nothing ...
    static constexpr qint64 kFirstWaitMs = 250;
    static constexpr qint64 kLongestWaitMs = 5000;
    /// ... and always this one where a little came. Slow enough for the watchdog not to take it for a storm.
    static constexpr qint64 kSteadyWaitMs = 125;

    /// Less than a module waits for an answer, so that a request that is not sent has an error of its own.
    static constexpr qint64 kPatienceMs = 60'000;
    /// Since its last answer that counts, until a server is as good as new.
    static constexpr qint64 kMemoryMs = 60'000;
    static constexpr qint64 kTooLong = -1;

    /// ms until a request to that server may be sent, and is to be asked for again; 0 = it is sent now; kTooLong = it
    /// would wait for longer than kPatienceMs, and is not sent. @param askedMs when it was asked for first
    qint64 begin(const QtHostAndPort &server, qint64 nowMs, qint64 askedMs);
    void note(const QtHostAndPort &server, Outcome outcome, qint64 nowMs);

private:
    struct Record {
        int nothing = 0; ///< answers in a row
        int little = 0; ///< the same
        qint64 noted = 0; ///< when the last of them ended
        qint64 last = 0; ///< when a request was sent
        bool isAsked = false; ///< one was
    };
    static qint64 waitAfter(const Record &record);
    void forgetOld(qint64 nowMs);

    QHash<QtHostAndPort, Record> m_records; ///< of servers that are not as they should be
};
