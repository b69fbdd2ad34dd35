// SPDX-License-Identifier: MIT
#pragma once

#include <host/policy/failure.h>

#include <QString>

/// What a failure is about, as it is called in a sentence.
namespace FailureNames
{

QString quoted(const QString &text);
QString quotedUrl(const Failure &failure);
QString quotedHost(const Failure &failure);
/// With its port, where the address names one.
QString quotedServer(const Failure &failure);
/// Where there is no name yet, the address is better known.
QString quotedTitle(const Failure &failure);
QString quotedFolder(const Failure &failure);
/// Its folder where there is no name yet.
QString quotedFile(const Failure &failure);
/// Of the download, as commands take it.
QString numberOf(const Failure &failure);
/// "plait resume 7": to be typed next, for the download.
QString commandOf(QLatin1StringView command, const Failure &failure);
/// The same in quotes, or what helps where no command can name it. @param verb "resume" or "restart"
QString command(QLatin1StringView verb, const Failure &failure);
/// What to run to go on: of what is in no list, nothing can be resumed, and no command can name it.
QString sameCommand(const Failure &failure);
/// The cause, in our words or in those of whoever told it; empty = nobody knows it.
QString cause(const Failure &failure);
/// The same, or what is said where nobody knows it.
QString reason(const Failure &failure, const QString &otherwise);

}
