// SPDX-License-Identifier: MIT
#include <inet/qt/download/downloadswww/sectionplan.h>

#include <algorithm>
#include <optional>
#include <utility>

using namespace Qt::StringLiterals;
using namespace SectionScheduling;

void SectionPlan::begin()
{
    m_isRefusingMore = false;
    m_allocatedSize = -1;
}

void SectionPlan::endRemoval(qint64 id)
{
    if (m_ignoredId == id)
        m_ignoredId = 0;
    if (m_creatingId == id)
        m_creatingId = 0;
}

bool SectionPlan::setAllocatedSize(qint64 size)
{
    return std::exchange(m_allocatedSize, size) != size;
}

SectionPlan::Sections SectionPlan::sorted(Sections all) const
{
    std::sort(all.begin(), all.end(), [this](const Section &a, const Section &b) {
        const bool isCreatingA = a.id == m_creatingId;
        const bool isCreatingB = b.id == m_creatingId;
        return isCreatingA == isCreatingB ? a.range.offset < b.range.offset : isCreatingB;
    });
    return all;
}

SectionPlan::Section SectionPlan::findLazySection(const Sections &all) const
{
    const auto it = std::find_if(all.cbegin(), all.cend(), [this](const Section &section) {
        return section.id != m_creatingId && !section.isRunning && !section.isFinished;
    });
    return it == all.cend() ? Section() : *it;
}

SectionPlan::Section SectionPlan::findBiggestBytesLeftSection(const Sections &all)
{
    const auto it = std::max_element(all.cbegin(), all.cend(), [](const Section &a, const Section &b) {
        return a.range.bytesLeft() < b.range.bytesLeft();
    });
    return it == all.cend() ? Section() : *it;
}

SectionPlan::Section SectionPlan::creating(const Sections &all) const
{
    const auto it =
        std::find_if(all.cbegin(), all.cend(), [this](const Section &section) { return section.id == m_creatingId; });
    return it == all.cend() ? Section() : *it;
}

SectionPlan::Cut SectionPlan::cut(const Sections &all, const Situation &situation) const
{
    if (all.isEmpty())
        return {{0, -1, 0}, ConnectionsBound::None, true};
    const Section from = findBiggestBytesLeftSection(all);
    const bool isBigEnough = from.range.bytesLeft() >= kMinimumLeftToSplit;
    const bool isSpaceMissing = isBigEnough && situation.hasFile && situation.isAllocating;
    Cut result;
    result.isPossible = m_creatingId == 0 && situation.hasFile
        && splitSection(from.range, {situation.isAllocating, m_allocatedSize}, &result.range);
    if (!result.isPossible)
        result.bound = isSpaceMissing ? ConnectionsBound::SpaceNotTaken : ConnectionsBound::TooSmallToSplit;
    return result;
}

CreateVerdict SectionPlan::mayCreate(const Sections &all, const Situation &situation) const
{
    CreateSituation judged;
    judged.isPackEmpty = all.isEmpty();
    judged.noMoreSections = m_isRefusingMore;
    judged.isCreating = m_creatingId != 0;
    judged.isResumeNotSupported = situation.isResumeNotSupported;
    judged.hasFile = situation.hasFile;
    judged.fileSize = situation.fileSize;
    judged.connections = situation.connections;
    return judgeCreation(judged);
}

bool SectionPlan::takeResumeTest(const Sections &all, const Situation &situation)
{
    const bool isTaken = m_isResumeTestAllowed && all.size() == 1 && situation.isResumeUnknown;
    m_isExtraWanted = !isTaken;
    if (isTaken) {
        m_isResumeTestAllowed = false;
        m_isResumeTested = true;
    }
    return isTaken;
}

SectionPlan::Confirmation SectionPlan::confirm(const Sections &all, int place)
{
    if (std::exchange(m_isResumeTested, false) && place >= 1)
        return Confirmation::TooManyConnections;
    const Section created = creating(all);
    bool hasParent = all.size() <= 1;
    for (const Section &section : all) {
        if (section.id == m_creatingId || section.range.end() != created.range.end())
            continue;
        hasParent = true;
        if (section.range.bytesLeft() <= created.range.size) {
            m_isRefusingMore = true;
            return Confirmation::Pointless;
        }
    }
    m_isRefusingMore |= !hasParent;
    return hasParent ? Confirmation::Confirmed : Confirmation::NoParent;
}

QString SectionPlan::reasonAgainst(Confirmation confirmation)
{
    switch (confirmation) {
    case Confirmation::TooManyConnections:
        return u"too many connections"_s;
    case Confirmation::Pointless:
        return u"pointless"_s;
    case Confirmation::NoParent:
        return u"no parent section found"_s;
    case Confirmation::Confirmed:
        break;
    }
    return {};
}

qint64 SectionPlan::settle(const Sections &all)
{
    const qint64 created = std::exchange(m_creatingId, 0);
    qint64 before = 0;
    for (const Section &section : sorted(all)) {
        if (section.id == created)
            return before;
        before = section.id;
    }
    return 0;
}

bool SectionPlan::endsWithCreating(const Sections &all, const AbstractDownloadSection &range) const
{
    const Section created = creating(all);
    return m_creatingId != 0 && created.id == m_creatingId && created.range.end() == range.end();
}

SectionPlan::Compaction SectionPlan::compact(const Sections &all) const
{
    Compaction result;
    std::optional<Section> previous;
    for (const Section &section : sorted(all)) {
        const bool isMerged =
            previous && previous->isFinished && section.isFinished && section.range.offset == previous->range.end();
        if (!isMerged) {
            previous = section;
            continue;
        }
        result.isParentFinished |= endsWithCreating(all, section.range) || endsWithCreating(all, previous->range);
        result.merges.append({previous->id, section.id});
        previous->range.size += section.range.size;
    }
    return result;
}

ConnectionsBound SectionPlan::boundOf(CreateVerdict verdict, const Situation &situation)
{
    switch (verdict) {
    case CreateVerdict::ResumeNotSupported:
        return ConnectionsBound::RangesNotHonoured;
    case CreateVerdict::SizeUnknown:
        return ConnectionsBound::SizeUnknown;
    case CreateVerdict::CapReached:
        return ConnectionsBound::SectionsCap;
    case CreateVerdict::LimitReached:
        return situation.connections.reason == ConnectionLimit::ConnectionsPerServer
            ? ConnectionsBound::ConnectionsPerServer
            : ConnectionsBound::Connections;
    case CreateVerdict::Allowed:
    case CreateVerdict::NoMoreSections:
    case CreateVerdict::AlreadyCreating:
    case CreateVerdict::NoFile:
        break;
    }
    return ConnectionsBound::None;
}
