// SPDX-License-Identifier: MIT
#include <inet/qt/download/framework/abstractdownloadmoduleentry.h>

/// Of a time when hosts spoke otherwise.
extern "C" Q_DECL_EXPORT AbstractDownloadModuleEntry *downloadsModuleEntry(int)
{
    return nullptr;
}
