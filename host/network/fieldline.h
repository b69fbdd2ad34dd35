// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArrayView>
#include <QString>

/// One field line of a head or of the trailers behind a chunked body, taken apart. Pure.
struct FieldLine {
    QByteArrayView name; ///< as sent
    QByteArrayView value; ///< without surrounding white space; bytes beyond ASCII are left as they are
    QString complaint; ///< what makes the line unreadable, to stand behind "…: "; empty = it can be read

    /// @param text the line without its end; the views point into it
    static FieldLine of(QByteArrayView text);
    /// What no line may hold, wherever it stands: a NUL or a part of a line end. Empty = it holds none.
    static QString strayByteIn(QByteArrayView text);

    static bool isTokenCharacter(char c);
    static bool isWhiteSpace(char c) { return c == ' ' || c == '\t'; }
    static QByteArrayView withoutWhiteSpace(QByteArrayView text);
    /// In quotation marks, cut where it is too long for a sentence.
    static QString quoted(QByteArrayView text);
};
