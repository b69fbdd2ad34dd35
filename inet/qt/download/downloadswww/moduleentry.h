// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/framework/abstractdownloadmoduleentry.h>

/// The module's one entry object; null for every interface version but AbstractDownloadModuleEntry::kInterfaceVersion.
Q_DECL_EXPORT AbstractDownloadModuleEntry *wwwDownloadsModuleEntry(int interfaceVersion);

/// The same under the name that a host looks up.
extern "C" Q_DECL_EXPORT AbstractDownloadModuleEntry *downloadsModuleEntry(int interfaceVersion);
