// SPDX-License-Identifier: MIT
#include <inet/qt/download/downloadswww/sectionscheduling.h>

#include <algorithm>

namespace SectionScheduling
{

namespace
{

qint64 smallestLimit(qint64 a, qint64 b)
{
    if (a == 0 || b == 0)
        return std::max(a, b);
    return std::min(a, b);
}

ConnectionVerdict at(int place, ConnectionLimit reason)
{
    return {place, reason == ConnectionLimit::SectionsCap, reason};
}

/// Size of the tail that the parent gives up; 0 = it is not split.
qint64 tailSize(const AbstractDownloadSection &parent, const SplitSituation &situation)
{
    const qint64 left = parent.bytesLeft();
    if (left < kMinimumLeftToSplit)
        return 0;
    if (!situation.isAllocating)
        return left / 2;
    const bool isTaken = parent.position() + kAllocatedLookAhead < situation.allocatedSize;
    return left >= kMinimumLeftWhileAllocating && isTaken ? left - kParentGapWhileAllocating : 0;
}

}

bool splitSection(const AbstractDownloadSection &parent, const SplitSituation &situation, AbstractDownloadSection *tail)
{
    if (parent.size == -1)
        return false;
    const qint64 size = tailSize(parent, situation);
    if (size == 0)
        return false;
    *tail = {parent.end() - size, size, 0};
    return true;
}

ConnectionVerdict judgeConnections(const ConnectionNumbers &n)
{
    if (n.runningSections >= kMaximumRunningSections)
        return at(1, ConnectionLimit::SectionsCap);
    const qint64 limit = smallestLimit(n.ownMaximum, n.globalMaximum);
    const qint64 perServer = smallestLimit(n.ownMaximumPerServer, n.globalMaximumPerServer);

    ConnectionLimit reached = ConnectionLimit::None;
    if (limit != 0 && limit < n.runningSections)
        return at(1, ConnectionLimit::Connections);
    if (limit != 0 && limit == n.runningSections)
        reached = ConnectionLimit::Connections;
    if (perServer != 0) {
        const qint64 toServer = std::max(n.ownToNextServer, n.applicationToNextServer);
        if (toServer > perServer)
            return at(1, ConnectionLimit::ConnectionsPerServer);
        if (toServer == perServer)
            reached = ConnectionLimit::ConnectionsPerServer;
    }
    if (limit != 0 && limit <= n.applicationTotal)
        return at(limit < n.applicationTotal ? 1 : 0, ConnectionLimit::Connections);
    return reached == ConnectionLimit::None ? ConnectionVerdict() : at(0, reached);
}

CreateVerdict judgeCreation(const CreateSituation &s)
{
    if (s.isPackEmpty)
        return CreateVerdict::Allowed;
    if (s.noMoreSections)
        return CreateVerdict::NoMoreSections;
    if (s.isCreating)
        return CreateVerdict::AlreadyCreating;
    if (s.isResumeNotSupported)
        return CreateVerdict::ResumeNotSupported;
    if (!s.hasFile)
        return CreateVerdict::NoFile;
    if (s.fileSize == -1)
        return CreateVerdict::SizeUnknown;
    if (s.connections.place == -1)
        return CreateVerdict::Allowed;
    return s.connections.isCapHit ? CreateVerdict::CapReached : CreateVerdict::LimitReached;
}

}
