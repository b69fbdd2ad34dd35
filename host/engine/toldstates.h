// SPDX-License-Identifier: MIT
#pragma once

#include <host/engine/downloadstate.h>
#include <host/engine/snapshot.h>

#include <QHash>

#include <optional>

/// In which states front ends take downloads to be: by it is known whether what they are told next may follow.
///
/// Only what does not rest is kept, as the list may have a hundred thousand that do: what rests may be told to rest in
/// any way (another program has changed it, or there is a checksum now), and leaves that state as any other that rests.
/// Work of another process is not seen as it happens, so that its rows follow upon everything, and everything upon
/// them. A value in the engine's thread.
class ToldStates
{
public:
    /// It is about to be told. False = that state may not follow upon the last one.
    bool take(const Snapshot &row);
    /// The same of what is about to be told to be removed.
    bool takeRemoved(qint64 id);
    /// Nothing where it rests, or another process is at work on it.
    std::optional<DownloadState> stateOf(qint64 id) const;
    /// How many are kept.
    qsizetype count() const { return m_states.size(); }

private:
    static bool isRest(DownloadState state);
    bool mayFollow(qint64 id, DownloadState state) const;

    QHash<qint64, std::optional<DownloadState>> m_states; ///< nothing = another process's
};
