// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/records/abstractdownloadpersistentinfo.h>

#include <QList>
#include <QtGlobal>

/// A file that somebody reads from its beginning while it comes over several connections: which pieces it is cut into,
/// so that the next bytes come first, and how far the download may be ahead of its reader.
///
/// A module that divides a file by itself halves it, and begins at all of its ends at once: of a file over eight
/// connections seven eighths would lie about before they could be read. So the file is cut ahead, in pieces from its
/// beginning, which modules take up in their order. Those that begin within the window may be fetched, those behind it
/// have to wait until the reader has come nearer; so the disk never holds much more than the window. Pure.
namespace StreamWindow
{

/// In order, each where the one before it ends; what is downloaded of one is from its beginning on.
using Ranges = QList<AbstractDownloadSection>;

/// From the first byte that the reader has not taken; pieces that begin in it may be fetched.
inline constexpr qint64 kWindow = qint64(256) * 1024 * 1024;
/// A piece is an eighth of what lies before it, within these: the reader's first bytes come soon, and later ones in
/// few requests.
inline constexpr qint64 kSmallestPiece = qint64(2) * 1024 * 1024;
inline constexpr qint64 kLargestPiece = qint64(16) * 1024 * 1024;
/// So many are cut at once; the rest is one piece until the window comes near.
inline constexpr int kMostPieces = 512;

/// What a decision is made by.
struct Sample {
    Ranges ranges; ///< empty = nobody knows yet what there is
    qint64 taken = 0; ///< bytes from the beginning that the reader has
    int mostConnections = 0; ///< that it may have; 0 = no limit
    bool isResumable = false; ///< the server sends a part alone; false also where nobody knows
};

struct Verdict {
    enum class What {
        GoOn,
        CutAhead, ///< stop, cut what is not there yet ahead, go on
        Wait, ///< stop, and go on once the reader has come nearer
        Trickle, ///< the reader is too far behind, and who stops cannot go on: next to nothing is to come
    };
    What what = What::GoOn;
    int connections = 1; ///< that it may have now; 0 = no limit

    friend bool operator==(const Verdict &, const Verdict &) = default;
};

/// Its server sends a part of the file alone, as far as the record says.
bool isResumable(const AbstractDownloadPersistentInfo &record);
/// Bytes from the beginning without a hole.
qint64 ready(const Ranges &ranges);
/// The same bytes in pieces. What is of unknown size stays as it is.
Ranges cutAhead(const Ranges &ranges);
Verdict judge(const Sample &sample);
/// After What::Wait: half of the window is free again.
bool mayGoOn(const Sample &sample);

}
