// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

/// Takes the chunked transfer coding off a body, strictly: a body is whole only when every byte of its framing is what
/// the grammar says.
///
///     size ─ extensions ─ CR ─ LF ─┬─▶ data ─ CR ─ LF ─▶ size …
///                                  └─▶ (size 0) trailers ─ empty line ─▶ end
///
/// A value that any thread may own; in use, the network thread's. Nothing of the body is copied.
class ChunkedDecoder
{
public:
    /// The next run of body bytes in front of @p raw, a view into it; *raw advances behind it and behind what framing
    /// was consumed. An empty view: no body byte is left in *raw. Behind the end, and from the byte on that is
    /// complained of, *raw is left as it is.
    QByteArrayView next(QByteArrayView *raw);
    /// The last chunk, the trailers and the final empty line have come.
    bool isAtEnd() const { return m_state == State::AtEnd; }
    /// What is wrong with the framing, as a sentence; empty = sound so far.
    QString complaint() const { return m_complaint; }

private:
    enum class State {
        SizeBegins, ///< at least one digit has to come
        InSize, ///< more digits, or what stands behind the size
        BeforeExtension, ///< white space came: a semicolon has to follow
        NameBegins, ///< behind a semicolon
        InName,
        BehindName, ///< white space came: an equals sign or a semicolon has to follow
        ValueBegins, ///< behind an equals sign
        InValue,
        InQuotes,
        Escaped, ///< behind a backslash in quotes
        BehindQuotes,
        SizeLineFeed, ///< behind the CR of a size line
        InData,
        DataReturn, ///< all data of the chunk came
        DataLineFeed,
        InTrailers,
        TrailerLineFeed, ///< behind the CR of a trailer's line
        AtEnd,
    };

    QByteArrayView takeData(QByteArrayView *raw);
    bool take(char c);
    bool takeOfSizeLine(char c);
    bool takeOfExtension(char c);
    bool takeOfSize(char c);
    bool takeOfName(char c);
    bool takeOfValue(char c);
    bool takeOfQuotes(char c);
    bool takeOfTrailers(char c);
    bool takeItemEnd(char c, State afterWhiteSpace);
    bool takeExpected(char c, char expected, State then);
    bool endSizeLine(char c);
    bool endTrailerLine(char c);
    bool goTo(State state);
    bool refuseByte(char c, const QString &place);
    bool refuse(const QString &detail);

    State m_state = State::SizeBegins;
    qint64 m_remaining = 0; ///< of the chunk: its size while that is read, then the bytes of it that have not come
    qsizetype m_lineSize = 0; ///< bytes of the size line, its end included
    qsizetype m_trailersSize = 0;
    bool m_hasTrailer = false; ///< a line may continue the one before
    QByteArray m_line; ///< of the trailers, without its end
    QString m_complaint;
};
