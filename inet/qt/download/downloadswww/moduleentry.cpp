// SPDX-License-Identifier: MIT
#include <inet/qt/download/downloadswww/moduleentry.h>

#include <inet/qt/download/downloadswww/wwwdownloadsmodule.h>
#include <inet/qt/download/framework/abstractdownloadmodulestandardentry.h>

AbstractDownloadModuleEntry *wwwDownloadsModuleEntry(int interfaceVersion)
{
    if (interfaceVersion != AbstractDownloadModuleEntry::kInterfaceVersion)
        return nullptr;
    static AbstractDownloadModuleStandardEntry<WwwDownloadsModule> entry(WwwDownloadsModule::kUniqueId);
    return &entry;
}

AbstractDownloadModuleEntry *downloadsModuleEntry(int interfaceVersion)
{
    return wwwDownloadsModuleEntry(interfaceVersion);
}
