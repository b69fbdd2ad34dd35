// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QList>
#include <QPair>

/// One request as a ScriptedServer read it, word for word.
struct ScriptedRequest {
    using Header = QPair<QByteArray, QByteArray>;

    /// Place among all requests of this server, from 0, in the order in which they were complete.
    int order = 0;
    /// Number of the connection it came on, from 1, in the order in which they were accepted.
    int connection = 0;
    QByteArray method;
    /// As it stands in the request line: path and query, still percent-encoded.
    QByteArray target;
    QByteArray version;
    /// In the sender's order and spelling.
    QList<Header> headers;
    QByteArray body;

    /// The target without its query.
    QByteArray path() const;
    /// Value of the first header of that name, case ignored; a null array when there is none.
    QByteArray header(const QByteArray &name) const;
    bool hasHeader(const QByteArray &name) const;
};
