// SPDX-License-Identifier: MIT
#pragma once

#include <host/storage/downloadstore.h>
#include <host/storage/storechoice.h>

#include <memory>

/// Which store there is for a choice: who uses it need not know.
namespace Stores
{

/// Open, in the thread that calls. Where the usual place cannot be used because there is no home folder, or none that
/// can be written, or the list that is there cannot, it is kept in memory and warns of that; a file that was named, and
/// one that is needed, has to be usable. What is for reading alone is the list that is there in either case.
/// @param failure gets why, when there is none
std::unique_ptr<DownloadStore> open(const StoreChoice &choice, Failure *failure);

}
