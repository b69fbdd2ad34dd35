// SPDX-License-Identifier: MIT
#pragma once

#include <cli/overview.h>
#include <cli/screen.h>
#include <cli/terminallook.h>

#include <QStringList>

/// The live lines: one for each running download, and one about all of them where there is more than one. Pure.
///
///     debian.iso  [████►░░░░▒░░░►░░░]   45%  of 1.2 GiB  12.3 MiB/s  1:02 left  8 conn
///     3 running, 5 waiting, 2 done, 31.0 MiB/s, 27%, 4:10 left
///
/// Columns stand below each other. Where there is not enough room the size goes first, then the strip, the
/// connections, the time left and the speed; then the name is shortened.
namespace ProgressBars
{

/// @param overview its speeds are shown as they are
/// @return no more than fit on a terminal of that size, none wider than it, its last column left free
QStringList lines(const Overview &overview, Screen::Size size, TerminalLook look);

}
