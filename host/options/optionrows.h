// SPDX-License-Identifier: MIT
#pragma once

#include <host/options/optionrow.h>

#include <QList>

/// The table itself. A new option of a download is a row here, its field in DownloadOptions, and what it does.
namespace OptionRows
{

/// In the order in which people see them.
QList<const OptionRow *> ofHost();

}
