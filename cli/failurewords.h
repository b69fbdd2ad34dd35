// SPDX-License-Identifier: MIT
#pragma once

#include <host/policy/failure.h>

#include <QString>

/// Failures as people read them: what failed, with the value in quotes, why, and what to type next. Complete sentences,
/// of which the first begins in lower case, to stand behind the program's name.
namespace FailureWords
{

/// Empty for no failure.
QString sentence(const Failure &failure);

}
