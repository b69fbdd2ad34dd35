// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QList>
#include <QPair>
#include <QString>

#include <functional>

/// What a ScriptedServer answers, misbehaviour included. The headers that HTTP asks for (length or coding, ranges,
/// close) are made from the other fields; a header of the same name in `headers` stands in their place, and a name in
/// `leaveOut` is not sent at all, so that every lie can be told.
struct ScriptedResponse {
    using Header = QPair<QByteArray, QByteArray>;
    using BodyMaker = std::function<QByteArray(qint64 offset, qint64 length)>;

    enum class Framing {
        ContentLength,
        Chunked,
        CloseDelimited, ///< no length: the body ends where the connection ends
    };
    enum class Cut {
        Orderly, ///< the connection is closed as after a complete answer
        Reset, ///< the far side sees a reset
    };

    int status = 200;
    /// Empty: the usual words for the status.
    QByteArray reason;
    QList<Header> headers;
    QList<QByteArray> leaveOut;

    QByteArray body;
    /// For bodies too large to keep: gives any piece of the `bodySize` bytes. `body` is not used then.
    BodyMaker bodyMaker;
    qint64 bodySize = 0;

    /// A Range request gets 206 and its piece, or 416 when the file ends before it. If-Range is honoured.
    bool honoursRanges = false;
    Framing framing = Framing::ContentLength;
    /// Size of a chunk of a chunked body.
    qint64 chunkSize = 16384;
    /// Close the connection after the answer, and say so.
    bool closesConnection = false;

    /// All byte counts below are of the body of this one answer, not of the file that a range is cut from.

    /// Connection ends after so many bytes of the body; -1: never.
    qint64 cutAfter = -1;
    Cut cut = Cut::Orderly;
    /// Not a byte is sent before ScriptedServer::release() of this gate. Empty: no gate.
    QString headGate;
    /// After so many bytes nothing more is sent before release() of `holdGate`; -1: never. 0 sends the head alone.
    qint64 holdAfter = -1;
    QString holdGate;
    /// 0: as fast as the connection takes it.
    qint64 bytesPerSecond = 0;

    /// The connection is closed in place of an answer.
    bool closesWithoutAnswer = false;
    /// Sent in place of a head and a body, as it stands; then the connection is closed. Empty: a proper answer.
    QByteArray raw;

    static ScriptedResponse ok(const QByteArray &body);
    /// The file TestFiles::content(seed, 0, size): honours ranges, has an ETag and a modification time.
    static ScriptedResponse file(quint64 seed, qint64 size);
    static ScriptedResponse error(int status);
    static ScriptedResponse redirect(const QByteArray &location, int status = 302);
    static ScriptedResponse garbage(const QByteArray &bytes);
    static ScriptedResponse noAnswer();

    ScriptedResponse &withHeader(const QByteArray &name, const QByteArray &value);

    qint64 size() const;
    QByteArray bodyPiece(qint64 offset, qint64 length) const;
    /// Value of the scripted header of that name, case ignored; a null array when there is none.
    QByteArray header(const QByteArray &name) const;
};
