// SPDX-License-Identifier: MIT
#pragma once

#include <tests/integration/plaitsandbox.h>
#include <tests/support/scriptedrequest.h>
#include <tests/support/scriptedresponse.h>

#include <QString>
#include <QStringList>

/// Downloads that were left in their middle.
namespace PartWay
{
/// A file that comes slowly and stops after `bytes` of it, so that there is time to do something to it there.
ScriptedResponse held(quint64 seed, qint64 size, qint64 bytes);

/// Runs this command until the beginning of the content is on disk under `name`, then stops it in order. Empty when
/// that went well, else what went wrong.
QString leave(PlaitSandbox &plait, const QStringList &arguments, const QString &name, quint64 seed);

/// The first byte that a request asks for.
qint64 startOf(const ScriptedRequest &request);

/// Commands that a message tells to run, as in: "plait restart 3" fetches all of it again. Without the program's name.
QList<QStringList> commandsIn(const QByteArray &message);
}
