// SPDX-License-Identifier: MIT
#include <tests/support/scriptedrequest.h>

QByteArray ScriptedRequest::path() const
{
    const qsizetype query = target.indexOf('?');
    return query < 0 ? target : target.left(query);
}

QByteArray ScriptedRequest::header(const QByteArray &name) const
{
    for (const Header &header : headers) {
        if (header.first.compare(name, Qt::CaseInsensitive) == 0) {
            return header.second.isNull() ? QByteArray("") : header.second;
        }
    }
    return {};
}

bool ScriptedRequest::hasHeader(const QByteArray &name) const
{
    return !header(name).isNull();
}
