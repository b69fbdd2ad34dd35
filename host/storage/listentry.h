// SPDX-License-Identifier: MIT
#pragma once

#include <host/options/downloadoptions.h>
#include <host/policy/evidence.h>
#include <host/storage/processidentity.h>
#include <inet/qt/download/records/abstracterror.h>

#include <QDateTime>
#include <QString>
#include <QUrl>
#include <QtGlobal>

/// Which downloads of the list are meant.
enum class ListFilter {
    All,
    Unfinished, ///< or finished, but not yet compared with their checksum, or with the digest that their server names
    Done, ///< finished, and what they were to be compared with says that they are the file
};

/// In which order rows of the list are read.
enum class ListOrder {
    Place, ///< as they stand in the list: the first to begin comes first
    Newest, ///< those put into the list last come first
    Name, ///< by NaturalOrder; the address where there is none yet; of equals the newest first, as in the next two
    Size, ///< the smallest first, before it those of unknown size
    Created, ///< the oldest first
};

/// A download as one line shows it. A value, read without the rest of the record.
struct ListEntry {
    qint64 id = 0;
    qint64 placeKey = 0; ///< by which rows are sorted where they stand: a smaller one comes first, see RowPlace
    QString name; ///< of the first file: on the disk, or as it will be called there; empty = not known yet
    QUrl url;
    QString folder; ///< empty = none
    qint64 size = -1; ///< bytes; -1 = unknown
    qint64 done = 0; ///< bytes
    bool finished = false;
    bool hasChecksum = false; ///< a person gave one, or the server of a finished file names one
    ChecksumResult checksumResult = ChecksumResult::NotCompared;
    Evidence evidence; ///< without address and ETag; no answers and no doubt = nobody kept it
    ProcessIdentity owner; ///< the process that runs it; nobody = none does
    int ownerSecondsLeft = 0; ///< see Owners::isAlive()
    AbstractError error; ///< of the last run; false = none
    QDateTime creationTime; ///< invalid = not known
    QDateTime finishedTime; ///< invalid = not finished
    QDateTime errorTime; ///< invalid = no error

    /// As ListFilter::Done has it.
    bool isDone() const { return finished && (!hasChecksum || checksumResult == ChecksumResult::Equal); }
};
