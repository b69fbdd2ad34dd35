// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QStringList>

struct Summary;
struct Tally;

/// What people read when it is over. Pure.
///
///     Saved "debian.iso": 628.0 MiB in 31.4 s (20.0 MiB/s), checksum verified, 8 connections at most: limit of 8
///     reached
///
///     3 done, 1 failed, 2 skipped, 1.2 GiB in 2:05 (9.8 MiB/s)
///       notes.txt: HTTP status 404
///
/// Where that is wider than the terminal it goes on in lines of its own, which are cut between two facts.
namespace ClosingWords
{

/// Where it is read.
struct Page {
    int columns = 0; ///< that a line may have; 0 = any
    QString folder = {}; ///< files below it are named from there; empty = by their whole paths
    bool unicode = true;
};

/// Of a file that is there, by this command or before it.
QStringList ofOne(const Summary &summary, const Page &page);
/// Of several downloads. @param seconds that they took together
QStringList ofAll(const Tally &tally, double seconds, const Page &page);

}
