// SPDX-License-Identifier: MIT
#include <host/engine/engineoptions.h>

#include <host/storage/downloadlist.h>

QString EngineOptions::listPath() const
{
    if (!session.isListKept)
        return {};
    return session.listPath.isEmpty() ? DownloadList::defaultPath() : session.listPath;
}
