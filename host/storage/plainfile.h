// SPDX-License-Identifier: MIT
#pragma once

#include <host/parsing/clause.h>

#include <QString>

/// What lies where a file is expected. It is looked at, never opened: to open a named pipe waits for its other end.
namespace PlainFile
{

/// What is there in place of a plain file, as the end of "it is …": a folder, a named pipe. A link stands for what it
/// leads to. Empty = a plain file, or nothing at all.
Clause obstacleAt(const QString &path);

}
