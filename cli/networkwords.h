// SPDX-License-Identifier: MIT
#pragma once

#include <host/policy/failure.h>

#include <QString>

/// Words for failures between here and the server: one or two sentences with the value in quotes and what to type next.
namespace NetworkWords
{

/// @param failure of the transfer, or of its address
QString sentence(const Failure &failure);

}
