// SPDX-License-Identifier: MIT
#pragma once

#include <host/policy/failure.h>

#include <QString>

/// What is said of a disk that is too small, of a quota, and of a file that may not be so long. Pure.
namespace RoomWords
{

/// What failed, why, how much is needed and free, and how to go on.
QString sentence(const Failure &failure);

// Parts of it.
/// A clause.
QString reason(const Failure &failure);
/// "Make room there", or what else may help first.
QString firstStep(const Failure &failure);
/// " It needs 5.2 GiB more, and 1.0 GiB is free there."; empty where nobody knows.
QString facts(const Failure &failure);

}
