// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>

/// Of what framing cases are made. The file of most has twelve bytes.
namespace FramingWords
{
inline const QByteArray kFile = "hello world!";
inline const QByteArray kFirstHalf = "hello ";
inline const QByteArray kSecondHalf = "world!";
inline const QByteArray kChunked = "Transfer-Encoding: chunked";
inline const QByteArray kChunks = "6\r\nhello \r\n6\r\nworld!\r\n0\r\n\r\n";

/// Fields are separated by CRLF; empty: none.
inline QByteArray answer(const QByteArray &statusLine, const QByteArray &fields, const QByteArray &body)
{
    return statusLine + "\r\n" + (fields.isEmpty() ? fields : fields + "\r\n") + "\r\n" + body;
}

inline QByteArray ok(const QByteArray &fields, const QByteArray &body)
{
    return answer("HTTP/1.1 200 OK", fields, body);
}

/// The file, with its length.
inline QByteArray okWith(const QByteArray &fields)
{
    return ok(fields + "\r\nContent-Length: 12", kFile);
}

inline QByteArray okWithStatusLine(const QByteArray &line)
{
    return answer(line, "Content-Length: 12", kFile);
}

inline QByteArray chunked(const QByteArray &body)
{
    return ok(kChunked, body);
}

inline QByteArray partial(const QByteArray &fields, const QByteArray &body)
{
    return answer("HTTP/1.1 206 Partial Content", "ETag: \"v1\"\r\n" + fields, body);
}
}
