// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QList>
#include <QPair>
#include <QString>

/// The head of an HTTP answer, taken line by line as it came from the wire. What cannot be read for certain is refused:
/// a body that follows such a head could end anywhere.
///
///     status line ── fields ── empty line ──▶ complete (every further line is a trailer's)
///          ▲                       │
///          └─ of an interim answer ┘
///
/// A value that any thread may own; in use, the network thread's.
class AnswerHead
{
public:
    using Field = QPair<QByteArray, QByteArray>; ///< name as sent, value without surrounding white space

    /// Takes one line with its line end. What makes the head unreadable, as a sentence; empty = sound so far. Once
    /// unreadable it stays so. A line behind the end of an interim answer (1xx) begins the next head; any line behind
    /// the end of the final one is a trailer and ignored.
    QString addLine(QByteArrayView line);
    /// Another answer follows on the same transfer (after a challenge).
    void beginAnew();

    /// The empty line of the final answer (not 1xx) has come.
    bool isComplete() const { return m_state == State::Complete; }
    /// Of the head that was begun last, be it an interim one; 0 = no status line has come.
    int status() const { return m_status; }
    QByteArray reason() const { return m_reason; }
    int majorVersion() const { return m_majorVersion; }
    int minorVersion() const { return m_minorVersion; }

    /// Each line for itself, in their order; folded lines joined by one space.
    QList<Field> fields() const { return m_fields; }
    /// Of the lines of that name, without regard to case, in their order.
    QList<QByteArray> values(QByteArrayView name) const;
    /// As QNetworkReply joins them: one entry a name (first spelling, first place), values joined by ", ", of
    /// Set-Cookie by "\n"; of Location the last one counts, and what is empty then is left out.
    QList<Field> joinedFields() const;

private:
    enum class State {
        AtStatusLine, ///< nothing came, or an interim answer has ended
        InFields, ///< behind a status line
        Complete, ///< behind the empty line of the final answer
    };

    QString taken(QByteArrayView line);
    QString takenStatusLine(QByteArrayView text);
    QString beginsHead(QByteArrayView text);
    QString takenField(QByteArrayView text);
    QString continuedField(QByteArrayView text);
    void endHead();
    bool isInterim() const;

    State m_state = State::AtStatusLine;
    QString m_complaint; ///< the one that was given; empty = sound so far
    qsizetype m_size = 0; ///< bytes of the head, line ends included
    int m_interimCount = 0;
    int m_status = 0;
    int m_majorVersion = 0;
    int m_minorVersion = 0;
    QByteArray m_reason;
    QList<Field> m_fields;
};
