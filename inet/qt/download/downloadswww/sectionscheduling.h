// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/records/abstractdownloadsection.h>

#include <QtGlobal>

/// Decisions about a download's sections, as pure functions over numbers. SectionPlan asks, and WwwDownload applies.
namespace SectionScheduling
{

/// Running sections that a download never exceeds, whatever the limits say.
inline constexpr int kMaximumRunningSections = 20;
/// A section with fewer bytes left is not worth another request.
inline constexpr qint64 kMinimumLeftToSplit = 307200;
/// The same while the disk space is still being taken.
inline constexpr qint64 kMinimumLeftWhileAllocating = 62914560;
/// So far beyond the parent's position the space must be taken before a section may begin behind it.
inline constexpr qint64 kAllocatedLookAhead = 136314879;
/// What the parent keeps while the space is being taken.
inline constexpr qint64 kParentGapWhileAllocating = 31457280;

/// What a split may go by.
struct SplitSituation {
    bool isAllocating = false; ///< a local file whose disk space is not fully taken
    qint64 allocatedSize = -1; ///< bytes taken so far; -1 = unknown
};

/// Whether @p parent gives up part of its range. Its own range is not changed.
/// @param tail set to the range of the new section
bool splitSection(const AbstractDownloadSection &parent, const SplitSituation &situation,
                  AbstractDownloadSection *tail);

/// Numbers that a limit of connections is held against. A limit of 0 means none.
struct ConnectionNumbers {
    qint64 runningSections = 0; ///< of this download
    qint64 ownMaximum = 0;
    qint64 globalMaximum = 0;
    qint64 ownMaximumPerServer = 0;
    qint64 globalMaximumPerServer = 0;
    qint64 ownToNextServer = 0; ///< of this download to the mirror that comes next
    qint64 applicationToNextServer = 0; ///< of all downloads to that server
    qint64 applicationTotal = 0;
};

/// Which limit decided, for the person who asks why there are not more connections.
enum class ConnectionLimit { None, SectionsCap, Connections, ConnectionsPerServer };

struct ConnectionVerdict {
    int place = -1; ///< -1 below every limit, 0 exactly at one, 1 over one
    bool isCapHit = false; ///< kMaximumRunningSections was the reason
    ConnectionLimit reason = ConnectionLimit::None;
};

ConnectionVerdict judgeConnections(const ConnectionNumbers &numbers);

/// Why a section may or may not be created.
enum class CreateVerdict : int {
    Allowed = 0,
    NoMoreSections = 1, ///< an earlier one proved pointless, or the disk failed
    AlreadyCreating = 2, ///< the last one has not proved itself yet
    ResumeNotSupported = 3,
    NoFile = 4,
    CapReached = 5,
    LimitReached = 6,
    SizeUnknown = 7,
};

struct CreateSituation {
    bool isPackEmpty = false;
    bool noMoreSections = false;
    bool isCreating = false;
    bool isResumeNotSupported = false;
    bool hasFile = false;
    qint64 fileSize = -1;
    ConnectionVerdict connections;
};

CreateVerdict judgeCreation(const CreateSituation &situation);

}
