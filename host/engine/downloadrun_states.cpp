// SPDX-License-Identifier: MIT
#include <host/engine/downloadrun.h>

#include <host/engine/downloadstate.h>
#include <inet/qt/download/framework/qtappdefaultlogger.h>
#include <inet/qt/download/framework/qtapploggertextstream.h>

#include <QThread>

namespace
{

using Life = DownloadRun::Life;
using Table = StateTable<Life>;

constexpr Table::Name kNames[] = {
    {Life::New, "New"},
    {Life::Running, "Running"},
    {Life::Ending, "Ending"},
    {Life::Ended, "Ended"},
};

constexpr Table::Exit kExits[] = {
    {Life::New, Life::Running, "run"},
    {Life::Running, Life::Ending, "the download has ended, or had nothing to do"},
    {Life::Ending, Life::Ended, "its last save is done, or refused"},
};

constexpr Table kTable(kNames, kExits);

}

const StateTable<DownloadRun::Life> &DownloadRun::states()
{
    return kTable;
}

/// A run begins once, and ends once.
void DownloadRun::transition(Life to)
{
    Q_ASSERT(QThread::currentThread() == thread());
    const QLatin1StringView before = kTable.nameOf(m_life);
    const QLatin1StringView name = kTable.nameOf(to);
    Q_ASSERT_X(kTable.allows(m_life, to), before.data(), name.data());
    m_life = to;
    QtAppLoggerTextStream(QtAppDefaultLogger::instance(), kStateLogLevel, true)
        << "Download " << id() << " in the session: " << before << " -> " << name;
    const Outbox::Scope scope(m_outbox);
    if (to == Life::Ended)
        m_outbox.put([this] { Q_EMIT finished(); });
}
