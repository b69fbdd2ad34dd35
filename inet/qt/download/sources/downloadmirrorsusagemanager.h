// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/records/abstractdownloadmirrorinfo.h>
#include <inet/qt/download/records/abstractdownloadsourceinfo.h>
#include <inet/qt/download/records/abstracterror.h>

#include <QList>
#include <QUrl>

/// Ranks the sources of one download: fewest failures first, then fewest users, then by URL.
///
/// One per download, shared by its sections; used from the download's thread only.
/// A source that is picked is to be given back exactly once, as it was handed out.
class DownloadMirrorsUsageManager
{
    Q_DISABLE_COPY_MOVE(DownloadMirrorsUsageManager)

public:
    /// One candidate.
    struct MirrorInfo {
        AbstractDownloadSourceInfo source;
        qint32 connectionCount = 0; ///< sections that use it now
        qint32 errorCount = 0; ///< transfers from it that ended with an error; never falls
    };

    DownloadMirrorsUsageManager() = default;

    /// The URL of the candidate that the next pick gives; empty without candidates.
    QUrl nextMirrorUrl() const;
    /// How many use that candidate now; 0 without candidates.
    int nextMirrorConnectionCount() const;
    /// The candidates, best first.
    QList<MirrorInfo> mirrors() const { return m_mirrors; }
    /// Some candidate has never failed.
    bool containsMirrorWithoutErrors() const;

    /// Replaces the candidates. One whose URL was known already stays as it is, its counters included;
    /// the others enter with counters of 0, whatever theirs say.
    void setMirrors(QList<MirrorInfo> list);
    /// The same for a main source and its mirrors, which share all of its fields but the two of the mirror.
    /// Mirrors without a valid URL are left out.
    void setMirrors(const AbstractDownloadSourceInfo &main, const QList<AbstractDownloadMirrorInfo> &mirrors);
    /// The same with an empty main source, which is a candidate like the others.
    void setMirrors(const QList<AbstractDownloadMirrorInfo> &mirrors);

    /// Counts a user of the best candidate and returns that; an empty source without candidates.
    AbstractDownloadSourceInfo pickMirror();
    /// Counts a user of the candidate that equals @p source in every field; false when there is none.
    bool forceblyPickMirror(const AbstractDownloadSourceInfo &source);
    /// Takes a user off the candidate with the URL of @p source, and counts a failure unless the error's code is 0.
    /// A source that is no candidate any more is ignored.
    void onFinishedUsingMirror(const AbstractDownloadSourceInfo &source, const AbstractError &error);

    /// Best first, or by URL alone. Entries that are equal in this order end in any order.
    static void sortMirrors(QList<MirrorInfo> &list, bool byUrlOnly);

private:
    void sort() { sortMirrors(m_mirrors, false); }

    QList<MirrorInfo> m_mirrors; ///< best first between operations
};
