// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

/// Where plait keeps what is its own, by the environment.
namespace OwnFolders
{

/// The settings, unless another file is named. Empty = there is no folder for them.
QString configFile();
/// The log, unless another file is named. Empty = there is no folder for it.
QString logFile();
/// A sentence; empty = each of the folders can be named.
QString problem();

}
