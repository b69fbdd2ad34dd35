// SPDX-License-Identifier: MIT
#include <host/engine/toldstates.h>

bool ToldStates::take(const Snapshot &row)
{
    const bool isOthers = row.ownerPid != 0;
    const bool isLegal = isOthers || mayFollow(row.id, row.state);
    if (isOthers)
        m_states.insert(row.id, std::nullopt);
    else if (isRest(row.state))
        m_states.remove(row.id);
    else
        m_states.insert(row.id, row.state);
    return isLegal;
}

bool ToldStates::takeRemoved(qint64 id)
{
    const bool isLegal = mayFollow(id, DownloadState::Removed);
    m_states.remove(id);
    return isLegal;
}

std::optional<DownloadState> ToldStates::stateOf(qint64 id) const
{
    return m_states.value(id);
}

bool ToldStates::isRest(DownloadState state)
{
    return state == DownloadState::Paused || state == DownloadState::Failed || state == DownloadState::Done;
}

bool ToldStates::mayFollow(qint64 id, DownloadState state) const
{
    const auto last = m_states.constFind(id);
    if (last == m_states.cend())
        return isRest(state) || downloadStates().allows(DownloadState::Paused, state);
    return !*last || *last == state || downloadStates().allows(**last, state);
}
