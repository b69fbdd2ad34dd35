// SPDX-License-Identifier: MIT
#pragma once

#include <tests/honesty/meeting.h>
#include <tests/honesty/visitor.h>
#include <tests/support/scriptedserver.h>

#include <QString>
#include <QStringList>

#include <atomic>

class PlaitSandbox;

/// The exhibit's server for one visit. In a meeting that takes up again what was there it begins with the prelude: all
/// requests are answered as number 0, and the answers stop in their middle.
class Stage
{
    Q_DISABLE_COPY_MOVE(Stage)

public:
    explicit Stage(const Meeting &meeting);

    QString url() const;

    /// Runs the program through the prelude and stops it part way, where it can over more than one connection. The
    /// prelude ends with that. @return whether there is something to take up
    bool leavePartWay(const Visitor &visitor, const PlaitSandbox &home, const QStringList &arguments);

private:
    ScriptedResponse answerTo(const ScriptedRequest &request);

    const Exhibit::Script m_script;
    std::atomic_bool m_isPrelude;
    int m_number; // of the next request for the file; in the server's thread, as the next one
    bool m_hasToCut;
    ScriptedServer m_server; // the last one: it ends before what its handlers use
};
