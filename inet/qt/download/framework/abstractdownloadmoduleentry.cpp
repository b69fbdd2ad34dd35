// SPDX-License-Identifier: MIT
#include <inet/qt/download/framework/abstractdownloadmoduleentry.h>

AbstractDownloadModuleEntry::AbstractDownloadModuleEntry() = default;

AbstractDownloadModuleEntry::~AbstractDownloadModuleEntry() = default;
