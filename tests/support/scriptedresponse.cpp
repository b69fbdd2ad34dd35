// SPDX-License-Identifier: MIT
#include <tests/support/scriptedresponse.h>

#include <tests/support/testfiles.h>

ScriptedResponse ScriptedResponse::ok(const QByteArray &body)
{
    ScriptedResponse response;
    response.body = body;
    return response;
}

ScriptedResponse ScriptedResponse::file(quint64 seed, qint64 size)
{
    ScriptedResponse response;
    response.bodyMaker = [seed](qint64 offset, qint64 length) { return TestFiles::content(seed, offset, length); };
    response.bodySize = size;
    response.honoursRanges = true;
    response.headers = {{"Content-Type", "application/octet-stream"},
                        {"ETag", "\"" + QByteArray::number(seed) + "-" + QByteArray::number(size) + "\""},
                        {"Last-Modified", "Wed, 01 Jan 2020 00:00:00 GMT"}};
    return response;
}

ScriptedResponse ScriptedResponse::error(int status)
{
    ScriptedResponse response;
    response.status = status;
    response.body = "status " + QByteArray::number(status) + "\n";
    return response;
}

ScriptedResponse ScriptedResponse::redirect(const QByteArray &location, int status)
{
    ScriptedResponse response;
    response.status = status;
    response.headers = {{"Location", location}};
    return response;
}

ScriptedResponse ScriptedResponse::garbage(const QByteArray &bytes)
{
    ScriptedResponse response;
    response.raw = bytes;
    return response;
}

ScriptedResponse ScriptedResponse::noAnswer()
{
    ScriptedResponse response;
    response.closesWithoutAnswer = true;
    return response;
}

ScriptedResponse &ScriptedResponse::withHeader(const QByteArray &name, const QByteArray &value)
{
    headers.append({name, value});
    return *this;
}

qint64 ScriptedResponse::size() const
{
    return bodyMaker ? bodySize : body.size();
}

QByteArray ScriptedResponse::bodyPiece(qint64 offset, qint64 length) const
{
    return bodyMaker ? bodyMaker(offset, length) : body.mid(offset, length);
}

QByteArray ScriptedResponse::header(const QByteArray &name) const
{
    for (const Header &header : headers) {
        if (header.first.compare(name, Qt::CaseInsensitive) == 0) {
            return header.second.isNull() ? QByteArray("") : header.second;
        }
    }
    return {};
}
