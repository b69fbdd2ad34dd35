// SPDX-License-Identifier: MIT
#pragma once

#include <host/policy/failure.h>

#include <QString>
#include <QtGlobal>

/// What is said of a download that goes to standard output and failed. It is in no list and leaves no file: nothing of
/// it can be resumed, and the only command that helps is the same once more. Pure.
namespace StreamWords
{

/// @param out bytes that somebody may have read by then
QString sentence(const Failure &failure, qint64 out);

}
