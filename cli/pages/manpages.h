// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

/// The manual pages, made of the tables of commands and options, and of what the manual says besides. Pure.
namespace ManPages
{

/// plait(1).
/// @param manual docs/manual.md; its tables are drawn anew
QString ofProgram(const QString &manual);
/// plait.conf(5).
QString ofSettings(const QString &manual);

}
