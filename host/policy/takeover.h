// SPDX-License-Identifier: MIT
#pragma once

#include <host/parsing/clause.h>
#include <host/policy/resourceidentity.h>

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QString>

/// Whether a file that nobody here has begun is the beginning of what a server has, or all of it. Such a file says
/// nothing of where it came from: its bytes are held against the server's at both ends and between, its length against
/// theirs, and its time against when theirs changed. Pure.
namespace TakeOver
{

/// Compared at each place.
inline constexpr qint64 kPiece = 65536;

struct Local {
    qint64 size = 0;
    QDateTime modified;
    /// It is to be compared with a checksum in the end.
    bool hasChecksum = false;
};

struct Piece {
    qint64 offset = 0;
    qint64 size = 0;

    friend bool operator==(const Piece &, const Piece &) = default;
};

/// An answer to the question for a piece.
struct Answer {
    Piece piece;
    int status = 0;
    ResourceIdentity identity;
    QByteArray encoding; ///< its Content-Encoding; empty = none
    QByteArray bytes; ///< as far as they came
    QByteArray ours; ///< what the file has in that place
};

/// What is to be asked for: the beginning, the end, and two places between.
QList<Piece> piecesOf(qint64 size);

/// Why the file is not taken over; empty = nothing speaks against it yet.
/// @param first the answer to the first question, which may be this one
Clause refusal(const Local &local, const Answer &first, const Answer &answer);

/// No further question says more: the server does not send parts, and a checksum will tell.
bool isSettled(const Local &local, const Answer &first);

}
