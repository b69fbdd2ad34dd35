// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/records/abstracterror.h>

#include <QDateTime>
#include <QList>
#include <QString>

#include <optional>

/// Which failures may pass by themselves, and how long to wait for that. Pure.
namespace Retry
{

/// Time-outs, cut and refused connections, overloaded servers: yes. What another attempt would only meet again
/// (forbidden, not found, an untrusted certificate, the disk): no.
bool isWorthwhile(const AbstractError &error);

/// The time that a Retry-After header asks for, in ms; nothing where it is neither seconds nor a date. A date in the
/// past is 0.
std::optional<qint64> parseRetryAfter(const QString &value, const QDateTime &now);
/// The same from an answer's header lines ("Retry-After: 120").
std::optional<qint64> retryAfter(const QList<QString> &headerLines, const QDateTime &now);

/// What the waiting time is made of.
struct Wait {
    int attempt = 1; ///< the one that has just failed; 1 = the first since progress was made
    qint64 baseMs = 1000; ///< waited after the first, doubled with each that follows
    double jitter = 0.5; ///< 0 ... 1; keeps many from coming back at the same moment
    std::optional<qint64> askedMs = {}; ///< by the server
};

inline constexpr qint64 kLongestWaitMs = 60 * 1000;
/// A server that asks for more is told no: the person decides.
inline constexpr qint64 kLongestAskedMs = 60 * 60 * 1000;

/// ms to wait: between half and all of the doubled base, never less than the server asked for.
qint64 delayMs(const Wait &wait);

}
