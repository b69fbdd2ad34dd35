// SPDX-License-Identifier: MIT
#pragma once

#include <host/engine/warning.h>

#include <QString>

/// Warnings as people read them, behind the program's name. Pure.
namespace WarningWords
{

/// Empty where there is nothing to tell. @param id of the download
QString sentence(qint64 id, const Warning &warning);

/// What happened, as one clause; empty where there is none, or nothing happened.
QString clause(const Failure &failure);

}
