// SPDX-License-Identifier: MIT
#include <inet/qt/download/framework/abstractdownloadsmodulesprovider.h>

AbstractDownloadsModulesProvider::AbstractDownloadsModulesProvider() = default;

AbstractDownloadsModulesProvider::~AbstractDownloadsModulesProvider() = default;
