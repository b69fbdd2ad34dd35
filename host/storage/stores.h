// SPDX-License-Identifier: MIT
#pragma once

#include <host/storage/downloadstore.h>
#include <host/storage/storechoice.h>

#include <memory>

/// Which store there is for a choice: who uses it need not know.
namespace Stores
{

/// Open, in the thread that calls. Where the usual place cannot be used because there is no home folder, or none that
/// can be written, the list is kept in memory and warns of that; a file that was named, and one that is there, has to
/// be usable. @param failure gets why, when there is none
std::unique_ptr<DownloadStore> open(const StoreChoice &choice, Failure *failure);

}
