// SPDX-License-Identifier: MIT
#pragma once

#include <tests/support/scriptedresponse.h>

#include <QByteArray>

/// One version of the file that the museum's servers have, and what is said about it.
struct FileVersion {
    /// How the names of fields are written.
    enum class Spelling { Usual, SmallLetters, Capitals };

    /// Large enough for every program here to fetch it over several connections.
    static constexpr qint64 kSize = 4 * 1024 * 1024 + 321;

    ScriptedResponse::BodyMaker bytes;
    qint64 size = kSize;
    QByteArray etag; ///< with its quotes; empty: none
    QByteArray date; ///< Last-Modified; empty: none
    QList<ScriptedResponse::Header> otherFields; ///< that each answer about it has
    Spelling spelling = Spelling::Usual;

    /// Number 0 is what every visit begins with. Each number has other bytes, another strong ETag and another date.
    static FileVersion number(int number);
    FileVersion withETag(const QByteArray &value) const;
    FileVersion withDate(const QByteArray &value) const;
    FileVersion withSize(qint64 value) const;
    FileVersion withField(const QByteArray &name, const QByteArray &value) const;
    FileVersion inSpelling(Spelling value) const;
    /// Nothing tells it from others of its size.
    FileVersion unmarked() const;
    /// The same, packed by gzip; whoever unpacks it gets the bytes of this one.
    FileVersion zipped() const;

    /// As a sound server sends it: the piece that is asked for, or all of it.
    ScriptedResponse sound() const;
    /// All of it with 200, whatever is asked for.
    ScriptedResponse whole() const;
    /// 206 with the bytes from `first` to `last`, which the head says, too.
    ScriptedResponse piece(qint64 first, qint64 last) const;
    /// The same under another Content-Range; an empty one: without.
    ScriptedResponse pieceCalled(const QByteArray &contentRange, qint64 first, qint64 last) const;
    /// 416, where the file has so many bytes.
    static ScriptedResponse nothingBeyond(qint64 size);

    /// "bytes 5-9/20"
    static QByteArray contentRange(qint64 first, qint64 last, qint64 size);

    /// Of all of it, in base 64.
    QByteArray sha256() const;
    /// Whether that is all of this one.
    bool isWholly(const QByteArray &content) const;

private:
    QList<ScriptedResponse::Header> validators() const;
};
