// SPDX-License-Identifier: MIT
#include <inet/qt/download/downloadswww/wwwdownload.h>

#include <inet/qt/download/framework/assertion.h>
#include <inet/qt/download/framework/qtappdefaultlogger.h>
#include <inet/qt/download/framework/qtapploggertextstream.h>

using namespace Qt::StringLiterals;

namespace
{

using State = WwwDownload::RunState;
using Table = StateTable<State>;

constexpr Table::Name kStateNames[] = {
    {State::Idle, "Idle"},
    {State::Running, "Running"},
    {State::FinalFileOps, "FinalFileOps"},
    {State::Stopping, "Stopping"},
    {State::StoppingFileOps, "StoppingFileOps"},
    {State::FinishingNow, "FinishingNow"},
    {State::FinishingFileOps, "FinishingFileOps"},
};

constexpr Table::Exit kStateExits[] = {
    {State::Idle, State::Running, "start (commands 0, 1, 2, 4)"},
    {State::Running, State::Idle, "a query of what has bytes already"},
    {State::Running, State::FinalFileOps, "all bytes are there, the file needs its length or its name"},
    {State::FinalFileOps, State::Running, "done or failed"},
    {State::Running, State::Stopping, "command 3 or 6, an error, a query that has its answer, finished"},
    {State::FinalFileOps, State::StoppingFileOps, "command 3 or 6"},
    {State::StoppingFileOps, State::Stopping, "done or failed"},
    {State::Stopping, State::Idle, "no section runs, no file operation is pending"},
    {State::Stopping, State::FinishingNow, "the same, and it was command 6"},
    {State::FinishingNow, State::FinishingFileOps, "the file needs its length or its name"},
    {State::FinishingFileOps, State::FinishingNow, "done or failed"},
    {State::FinishingNow, State::Idle, "finished"},
};

}

const StateTable<State> &WwwDownload::states()
{
    static constexpr Table table(kStateNames, kStateExits);
    return table;
}

bool WwwDownload::isRunning() const
{
    return hasState(Running);
}

bool WwwDownload::isStopping() const
{
    return hasState(Stopping);
}

bool WwwDownload::isFinalizing() const
{
    return hasState(FinishNowRequested) || hasState(FinishingNow);
}

/// The one place where a run gets on. Its signal is the last that happens.
void WwwDownload::transition(RunState to)
{
    const RunState from = runState();
    DOWNLOAD_ASSERT(states().allows(from, to));
    const bool isBeginOrEnd = from == RunState::Idle || to == RunState::Idle;
    const bool isStop = !isBeginOrEnd && !isStopping() && (quint32(to) & Stopping);
    if (isBeginOrEnd)
        log("running: "_L1 + (to == RunState::Idle ? '0'_L1 : '1'_L1));
    m_state = (m_state & ~kRunStateBits) | quint32(to);
    m_plan.setExtraWanted(false);
    logState();
    if (to == RunState::Idle)
        ++m_runsEnded;
    if (isBeginOrEnd)
        Q_EMIT running(isRunning());
    else if (isStop)
        Q_EMIT stopping();
}

void WwwDownload::setRunning(bool on)
{
    if (isRunning() != on)
        transition(on ? RunState::Running : RunState::Idle);
}

void WwwDownload::logState() const
{
    if (QtAppDefaultLogger::instance()->verbosityLevel() >= kStateLogLevel)
        log("state: "_L1 + states().nameOf(runState()), kStateLogLevel);
}

void WwwDownload::log(const QString &text, int level) const
{
    if (m_record && m_record->hasFlag(AbstractDownloadPersistentInfo::LoggingSuppressed))
        return;
    QtAppLoggerTextStream(QtAppDefaultLogger::instance(), level, true) << logHeader() << text;
}
