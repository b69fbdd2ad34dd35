// SPDX-License-Identifier: MIT
#pragma once

#include <QList>
#include <QString>

#include <optional>

/// Content-Encoding: a file that a server packs on its way. What comes is kept as it came, so its bytes are those of
/// the encoding, and no others go behind them. Pure.
namespace ContentEncoding
{

/// An answer that brings bytes of the file.
struct Answer {
    bool isPart = false; ///< the server took up where it was asked to (status 206)
    /// In lower case, one name for one encoding, the outermost last: "gzip", "br, gzip". Empty = none.
    QString encoding;
};

/// @param lines of the head, status line first; where the protocol has no status, its number is below 0
/// @return nothing when the answer brings another thing, such as an error page
std::optional<Answer> of(const QList<QString> &lines);

/// What kind of encoding it is, with its name: "compressed (gzip)"; of none "plain".
QString shown(const QString &encoding);

/// Why the rest of a file does not fit to what is there of it.
QString change(const QString &before, const QString &now);

/// Whether a header of the request, in whatever spelling, says which encodings are welcome.
bool isAskedFor(const QList<QString> &headerNames);

}
