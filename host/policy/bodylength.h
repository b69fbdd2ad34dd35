// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QString>

/// Whether a body is as long as its head said. The network layer tells a body cut short from a whole one only as long
/// as it reads before the connection's end reaches it; where both come at once it reports a good end.
namespace BodyLength
{

/// What of a response's head decides on the length; empty = there is no such header.
struct Head {
    int status = 0;
    QByteArray contentLength;
    QByteArray transferEncoding;
};

/// Bytes that the body must have; -1 = the head does not say.
qint64 announced(const Head &head);

/// Why a body that ended without an error is none of ours to believe; empty = it is as long as announced.
QString complaint(const Head &head, qint64 received);

}
