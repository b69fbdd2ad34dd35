// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/downloadswww/sectionscheduling.h>
#include <inet/qt/download/framework/downloaddetails.h>
#include <inet/qt/download/records/abstractdownloadsection.h>

#include <QList>
#include <QPair>
#include <QString>

/// How a download divides its file: which section is in creation, which gives up a part of its range and where it is
/// cut, whether a new one has proved itself, and if not, why. Decides and remembers; whoever asks has the sections, and
/// makes, starts, shortens and removes them.
///
/// At most one section is in creation: it counts among all, but has no say in what the file is made of until its first
/// good answer. A value without event loop; lives with its download.
class SectionPlan
{
public:
    /// A live section, as it is when the plan is asked. Lists of them are in the order in which they were made.
    struct Section {
        qint64 id = 0; ///< 0 = none
        AbstractDownloadSection range;
        bool isRunning = false;
        bool isFinished = false;
    };
    using Sections = QList<Section>;

    /// What a decision is made by, besides the sections.
    struct Situation {
        bool hasFile = false; ///< the record knows a file
        qint64 fileSize = -1; ///< -1 = unknown
        bool isAllocating = false; ///< a local file whose disk space is not fully taken
        bool isResumeUnknown = true;
        bool isResumeNotSupported = false;
        SectionScheduling::ConnectionVerdict connections;
    };

    /// Where a new section comes from.
    struct Cut {
        AbstractDownloadSection range; ///< of the new section; nothing where there is a bound
        ConnectionsBound bound = ConnectionsBound::None; ///< why none is cut
        bool isPossible = false;
    };

    /// What becomes of a section in creation with its first good answer.
    enum class Confirmation {
        Confirmed,
        TooManyConnections, ///< it was there to learn whether ranges are honoured; a limit is exceeded by now
        Pointless, ///< its parent has come as far as the new range
        NoParent,
    };

    /// Finished neighbours that become one.
    struct Compaction {
        QList<QPair<qint64, qint64>> merges; ///< the one that grows, and the one behind it that goes; in that order
        bool isParentFinished = false; ///< of the section in creation
    };

    /// A run begins.
    void begin();
    /// Nobody knows whether ranges are honoured, and there is one section to learn it with.
    void allowResumeTest() { m_isResumeTestAllowed = true; }

    /// Ids begin at 1, and never come again.
    qint64 takeId() { return ++m_lastId; }
    qint64 creatingId() const { return m_creatingId; }
    /// It is being removed: what it says of itself meanwhile means nothing.
    qint64 ignoredId() const { return m_ignoredId; }

    void startCreating(qint64 id) { m_creatingId = id; }
    /// All sections are gone, the one in creation, too.
    void clear() { m_creatingId = 0; }
    /// The section in creation begins to go. @return its id
    qint64 beginRemoval() { return m_ignoredId = m_creatingId; }
    /// It is gone. Who heard of that may have begun another by now, which stays.
    void endRemoval(qint64 id);

    /// None is created until the next run.
    void refuseMore() { m_isRefusingMore = true; }
    /// Bytes of the file that are taken on disk by now; -1 = unknown. False = they were before.
    bool setAllocatedSize(qint64 size);
    qint64 allocatedSize() const { return m_allocatedSize; }
    /// A limit was in the way of one more section: the plan wants to be asked again when connections change.
    bool isExtraWanted() const { return m_isExtraWanted; }
    void setExtraWanted(bool wanted) { m_isExtraWanted = wanted; }

    /// By offset; the one in creation last.
    Sections sorted(Sections all) const;
    /// The first that neither runs nor is finished; id 0 where there is none. The one in creation does not count.
    Section findLazySection(const Sections &all) const;
    /// The one that has most to do, and so gives up a part: the first of several.
    static Section findBiggestBytesLeftSection(const Sections &all);
    /// Where the next section comes from: the whole resource where there is none yet.
    Cut cut(const Sections &all, const Situation &situation) const;

    SectionScheduling::CreateVerdict mayCreate(const Sections &all, const Situation &situation) const;
    /// Where a limit is reached: whether one section is made all the same, to learn whether ranges are honoured. Once
    /// for each time it was allowed. Where not, the plan wants to be asked again.
    bool takeResumeTest(const Sections &all, const Situation &situation);
    /// @param place of the connections, as in ConnectionVerdict
    Confirmation confirm(const Sections &all, int place);
    /// For the log.
    static QString reasonAgainst(Confirmation confirmation);
    /// The section in creation is one like all others now. @return the one that gives up its tail to it; 0 = none does
    qint64 settle(const Sections &all);
    Compaction compact(const Sections &all) const;
    /// The section in creation ends where that range does.
    bool endsWithCreating(const Sections &all, const AbstractDownloadSection &range) const;

    /// The same for people: what kept the connections from being more.
    static ConnectionsBound boundOf(SectionScheduling::CreateVerdict verdict, const Situation &situation);

private:
    Section creating(const Sections &all) const;

    qint64 m_lastId = 0;
    qint64 m_creatingId = 0; ///< 0 = none
    qint64 m_ignoredId = 0; ///< 0 = none
    qint64 m_allocatedSize = -1;
    bool m_isRefusingMore = false;
    bool m_isExtraWanted = false;
    bool m_isResumeTestAllowed = true;
    bool m_isResumeTested = false; ///< the section in creation is there to learn whether ranges are honoured
};
