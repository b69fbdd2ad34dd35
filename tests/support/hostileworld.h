// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

/// What hostile servers serve and how they go wrong, as values that follow from a seed.

/// One state of a file: its bytes, and what the server says of it.
struct HostileVersion {
    enum class DateForm { Usual, Old, Oldest }; ///< the three of RFC 9110, 5.6.7

    quint64 content = 0; ///< seed of TestFiles
    qint64 size = 0;
    QByteArray etag; ///< with its quotes, and "W/" before them if it is weak; empty: none
    QByteArray etagName; ///< as it is spelled
    qint64 modified = 0; ///< seconds since the epoch; 0: it does not say
    QByteArray modifiedName;
    DateForm dateForm = DateForm::Usual;

    /// Header lines, each with its end.
    QByteArray fields() const;
    QString inWords() const;
};

/// What can be wrong with one answer.
enum class HostileFault {
    None,
    // Framing
    LengthTooSmall,
    LengthTooLarge,
    TwoLengths,
    Cut,
    CutAfterKibibyte,
    ChunkOfNonsense,
    NoLastChunk,
    ChunkedWithLength,
    CutWithoutLength, ///< the end of the connection is all that ends it
    NoAnswer,
    // Range
    OtherPlace, ///< and says so
    OtherPlaceUnsaid,
    HeadInPlaceOfRange, ///< unsaid, too
    WholeToRange,
    WrongTotal,
    NoTotal,
    SmallerPiece,
    SeveralPieces,
    NoContentRange,
    PieceToWhole,
    // Status
    NotFound,
    Gone,
    Forbidden,
    TooMany,
    TooManyForASecond,
    ServerError,
    Unavailable,
    NotSatisfiable,
    NoContent,
    LoginPage,
    RedirectNowhere,
    RedirectToItself,
    // Validators
    OtherETag,
    NoETag,
    WeakETag,
    OtherDate,
    NoDate,
    // Nothing that is new
    EmptyPiece,
    EmptyFile,
};

constexpr int kHostileFaults = int(HostileFault::EmptyFile) + 1;
QString inWords(HostileFault fault);

struct HostileResource {
    enum class Change { Never, AfterRequests, AfterBytes, BetweenRuns, Flips, WithinBody };
    enum class Redirect { Never, ToOne, ToNewOnes, ToSigned, AtTimesToLogin };
    enum class Framing { Length, Chunked, Close, Any };

    QByteArray name; ///< of the file
    QList<HostileVersion> versions; ///< in their order; the last one stays
    Change change = Change::Never;
    qint64 changeAfter = 0; ///< requests or bytes

    Redirect redirect = Redirect::Never;
    int hops = 0; ///< before the target
    bool crossesServers = false;
    int signedUses = 0; ///< of a signed address, before it has expired
    bool expiresAsGone = false; ///< 410, else 403

    Framing framing = Framing::Length; ///< of sound answers to requests for the whole
    bool honoursRanges = true;
    QByteArray acceptRanges; ///< header's value; empty: none
    qsizetype pieces = 0; ///< in which an answer goes out; 0: one
    int longestPauseMs = 0;
    int percentStalled = 0;

    QList<HostileFault> faults; ///< one of them is picked for each faulty answer
    int percentFaulty = 0;
    int soundAtFirst = 0; ///< answers before the first fault
    int mostFaults = 0; ///< -1: there is no end

    /// It never changes and nothing about it is wrong: whoever asks for it has to get it.
    bool isSound() const;
    /// And whoever was interrupted has to get the rest: who tells a size at times has another file at times.
    bool isResumable() const;
    QString inWords() const;
};

/// The servers of one seed and how the program is run against them.
struct HostileWorld {
    int servers = 1;
    QList<HostileResource> resources;
    bool hasMirror = false; ///< there is one resource then, and it has two addresses
    bool hasChecksum = false; ///< of the version that the one resource has at first
    int connections = 1;
    int tries = 1;
    bool restartsChanged = false;
    bool restartsUnresumable = false;

    static HostileWorld fromSeed(quint32 seed);
    QString inWords() const;
};
