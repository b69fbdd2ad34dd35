// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

/// Whether a partial answer (status 206) is the piece that was asked for. Bytes written at the wrong place are not
/// found out later, so what does not fit for certain is refused.
namespace PartialAnswer
{

/// What a Content-Range header says, in bytes.
struct ContentRange {
    qint64 first = 0;
    qint64 last = 0;
    qint64 total = -1; ///< -1 = the server does not know it

    friend bool operator==(const ContentRange &, const ContentRange &) = default;
};

/// First byte that a Range header asks for; nothing when it is no single range with a start ("bytes=5-", "bytes=5-9").
std::optional<qint64> askedStart(const QByteArray &range);

/// Nothing when the header is malformed.
std::optional<ContentRange> parseContentRange(const QByteArray &contentRange);

/// N of a "bytes */N", with which a 416 says how long the file is; nothing when the header is none of those.
std::optional<qint64> parseUnsatisfiedTotal(const QByteArray &contentRange);

/// It ends before it begins, or beyond the total or any file.
bool contradictsItself(const ContentRange &range);

/// Why a 206 with this Content-Range (empty = none) may not be used for a request with this Range; empty = it may.
/// A request without a Range that askedStart() understands is not judged.
QString refusal(const QByteArray &range, const QByteArray &contentRange);

}
