// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/records/networkusagesettings.h>

#include <QString>
#include <QStringList>

/// What a session is opened with.
struct SessionOptions {
    QString listPath; ///< empty = DownloadList::defaultPath()
    QStringList moduleFolders; ///< empty = ModuleLoader::defaultFolders()
    bool ignoreSslErrors = false;
    QString caCertificatesFile; ///< PEM, trusted besides the system's; empty = none
    NetworkUsageSettings usage; ///< of every single download
};
